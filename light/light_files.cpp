#include <math.h>
#include <stddef.h>
#include <string.h>
#include <sys/stat.h>

#include "engine/log.h"
#include "light/light.h"

#define EQ_TAG_LOAD "twWorld_LoadSurfacePlaneEqs2"
#define EQ_TAG_SAVE "twWorld_SaveSurfacePlaneEqs2"

// A file the reader can't take for a resource: a directory or a device
static int IsPlainFile(FILE* pFile)
{
    struct stat st;
    return fstat(fileno(pFile), &st) == 0 && S_ISREG(st.st_mode);
}

// A light file by its place: an external copy's pack, the own pack, or the Temp folder;
// *piSize takes its bytes
static FILE* OpenByPlace(const char* pstrName, const char* pstrExternal, int* piSize, const char* pstrTag)
{
    char szResource[64];
    snprintf(szResource, sizeof(szResource), "%s.bin", pstrName);
    if (pstrExternal) {
        FILE* pFile = twCore_GetResourceExt(szResource, pstrExternal, piSize);
        if (!pFile)
            twLogError(pstrTag, "!twCore_GetResourceExt : %s\n", pstrName);
        return pFile;
    }
    FILE* pFile = twCore_GetResource(szResource, piSize);
    if (pFile)
        return pFile;
    // the viewer that computed a solution keeps it in its Temp folder
    const char* pstrUserDir = twCore_GetUserDir();
    if (pstrUserDir && pstrUserDir[0]) {
        char szPath[TW_PATH_SIZE + 64];
        snprintf(szPath, sizeof(szPath), "%sTemp/%s", pstrUserDir, szResource);
        pFile = fopen(szPath, "rb");
        if (pFile && !IsPlainFile(pFile)) {
            twLogError(pstrTag, "!'%s' is not a file\n", szPath);
            fclose(pFile);
            return nullptr;
        }
        if (pFile) {
            int64_t iSize = fseeko(pFile, 0, SEEK_END) == 0 ? ftello(pFile) : 0;
            fseeko(pFile, 0, SEEK_SET);
            *piSize = iSize > 0x7FFFFFFF ? 0x7FFFFFFF : (iSize < 0 ? 0 : (int)iSize);
            return pFile;
        }
    }
    twLogError(pstrTag, "!twCore_GetResource : %s\n", pstrName);
    return nullptr;
}

FILE* twWorld_OpenLightFile(const char* pstrName, const char* pstrExternal, TwReader* pReader, const char* pstrTag)
{
    int iSize = 0;
    FILE* pFile = OpenByPlace(pstrName, pstrExternal, &iSize, pstrTag);
    if (pFile)
        twReader_Init(pReader, pFile, iSize);
    return pFile;
}

int twWorld_CreateLightFile(TwWriter* pWriter, const char* pstrName, const char* pstrTag)
{
    char szPath[TW_PATH_SIZE + 64];
    const char* pstrUserDir = twCore_GetUserDir();
    snprintf(szPath, sizeof(szPath), "%sTemp/%s.bin", pstrUserDir ? pstrUserDir : "", pstrName);
    // a stand-alone copy has no folder of its own to write in
    if (!pstrUserDir || !pstrUserDir[0] || !twWriter_Open(pWriter, szPath)) {
        twLogError(pstrTag, "!fopen : '%s'\n", szPath);
        return 0;
    }
    return 1;
}

// Puts a written light file in place; the old one stays when anything failed
static int CloseLightFile(TwWriter* pWriter, const char* pstrTag)
{
    if (twWriter_Close(pWriter))
        return 1;
    twLogError(pstrTag, "!fwrite : '%s'\n", pWriter->szPath);
    return 0;
}

int twWorld_ReadLightInit(const char* pstrExternal)
{
    const char* pstrTag = "twWorld_InitLight";
    TwReader reader;
    FILE* pFile = twWorld_OpenLightFile("LightInit", pstrExternal, &reader, pstrTag);
    if (!pFile)
        return 0;
    int32_t iQuality = twReader_I32(&reader);
    float fRange = twReader_F32(&reader);
    fclose(pFile);
    if (reader.bShort) {
        twLogError(pstrTag, "!LightInit.bin is cut short\n");
        return 0;
    }
    // the range sizes every sample's view and every query: it must be a distance
    if (!isfinite(fRange) || fRange <= 0) {
        twLogError(pstrTag, "!LightInit.bin holds a range of %f\n", fRange);
        return 0;
    }
    pWorld->iLightQuality = iQuality;
    pWorld->fLightRangeInit = fRange;
    return 1;
}

int twWorld_WriteLightInit(void)
{
    const char* pstrTag = "twWorld_InitLight";
    TwWriter writer;
    if (!twWorld_CreateLightFile(&writer, "LightInit", pstrTag))
        return 0;
    twWriter_U32(&writer, (uint32_t)pWorld->iLightQuality);
    twWriter_F32(&writer, pWorld->fLightRangeInit);
    return CloseLightFile(&writer, pstrTag);
}

int twWorld_LoadSurfacePlaneEq(TwReader* pReader, TwSurface* pSurface)
{
    TwSurfaceEqRecord record;
    twReader_Read(pReader, &record, sizeof(record));
    const float* pf = record.fPlane;
    // the rectangle is read as it stands, but it must be one: it places every luxel
    for (int i = 0; i < (int)offsetof(TwSurfaceEqRecord, bNoSampling) / 4; i++)
        if (!isfinite(pf[i])) {
            twLogError(EQ_TAG_LOAD, "!Surface %u has a rectangle that is not finite\n", pSurface->iIndex);
            return 0;
        }
    memcpy(pSurface->fPlane, record.fPlane, sizeof(record.fPlane));
    memcpy(pSurface->fPlaneU, record.fPlaneU, sizeof(record.fPlaneU));
    memcpy(pSurface->fPlaneV, record.fPlaneV, sizeof(record.fPlaneV));
    memcpy(pSurface->fOrigin, record.fOrigin, sizeof(record.fOrigin));
    pSurface->fDistU = record.fDistU;
    pSurface->fDistV = record.fDistV;
    pSurface->bNoSampling = record.bNoSampling != 0;
    pSurface->bLit = record.bLit != 0;
    return 1;
}

int twWorld_SaveSurfacePlaneEq(TwWriter* pWriter, const TwSurface* pSurface)
{
    TwSurfaceEqRecord record;
    memset(&record, 0, sizeof(record));
    memcpy(record.fPlane, pSurface->fPlane, sizeof(record.fPlane));
    memcpy(record.fPlaneU, pSurface->fPlaneU, sizeof(record.fPlaneU));
    memcpy(record.fPlaneV, pSurface->fPlaneV, sizeof(record.fPlaneV));
    memcpy(record.fOrigin, pSurface->fOrigin, sizeof(record.fOrigin));
    record.fDistU = pSurface->fDistU;
    record.fDistV = pSurface->fDistV;
    record.bNoSampling = pSurface->bNoSampling;
    record.bLit = pSurface->bLit;
    return twWriter_Write(pWriter, &record, sizeof(record));
}

// One running number of LightEq.bin against the one expected; the text names what differs
static int Expect(TwReader* pReader, uint32_t uiExpected, const char* pstrWhat)
{
    uint32_t uiFound = twReader_U32(pReader);
    if (pReader->bShort) {
        twLogError(EQ_TAG_LOAD, "!LightEq.bin is cut short\n");
        return 0;
    }
    if (uiFound != uiExpected) {
        twLogError(EQ_TAG_LOAD, "!%s count mismatch (expected %d found %d)\n", pstrWhat, (int)uiExpected,
                   (int)uiFound);
        return 0;
    }
    return 1;
}

int twWorld_LoadSurfacePlaneEqs2(const char* pstrExternal)
{
    TwWorld* w = pWorld;
    TwReader reader;
    FILE* pFile = twWorld_OpenLightFile("LightEq", pstrExternal, &reader, EQ_TAG_LOAD);
    if (!pFile)
        return 0;
    char acHeader[3];
    twReader_Read(&reader, acHeader, 3);
    int bOk = memcmp(acHeader, "LEQ", 3) == 0;
    if (!bOk)
        twLogError(EQ_TAG_LOAD, "!Header not 'LEQ'\n");
    for (int g = 0; g < w->iNumElementGroups && bOk; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        bOk = Expect(&reader, (uint32_t)g, "Element group");
        for (int r = 0; r < pGroup->iNumRenderArrays && bOk; r++) {
            TwSurfaceArray* pArray = pGroup->pRenderArrays[r].pSurfaceArray2;
            if (!pArray)
                continue;
            bOk = Expect(&reader, (uint32_t)r, "Renderarray");
            for (int s = 0; s < pArray->iNumSurfaces && bOk; s++)
                bOk = Expect(&reader, (uint32_t)s, "Surface") &&
                      twWorld_LoadSurfacePlaneEq(&reader, &pArray->pSurfaces2[s]);
        }
    }
    if (bOk && reader.bShort) {
        twLogError(EQ_TAG_LOAD, "!LightEq.bin is cut short\n");
        bOk = 0;
    }
    fclose(pFile);
    return bOk;
}

int twWorld_SaveSurfacePlaneEqs2(void)
{
    TwWorld* w = pWorld;
    TwWriter writer;
    if (!twWorld_CreateLightFile(&writer, "LightEq", EQ_TAG_SAVE))
        return 0;
    twWriter_Write(&writer, "LEQ", 3);
    for (int g = 0; g < w->iNumElementGroups; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        twWriter_U32(&writer, (uint32_t)g);
        for (int r = 0; r < pGroup->iNumRenderArrays; r++) {
            TwSurfaceArray* pArray = pGroup->pRenderArrays[r].pSurfaceArray2;
            if (!pArray)
                continue;
            twWriter_U32(&writer, (uint32_t)r);
            for (int s = 0; s < pArray->iNumSurfaces; s++) {
                twWriter_U32(&writer, (uint32_t)s);
                twWorld_SaveSurfacePlaneEq(&writer, &pArray->pSurfaces2[s]);
            }
        }
    }
    return CloseLightFile(&writer, EQ_TAG_SAVE);
}
