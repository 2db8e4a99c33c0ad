#include <GL/glew.h>
#include <math.h>
#include <stddef.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "light/light.h"
#include "platform/window.h"
#include "platform/ogl.h"

#define EQ_TAG_LOAD "twWorld_LoadSurfacePlaneEqs2"
#define EQ_TAG_SAVE "twWorld_SaveSurfacePlaneEqs2"

// A file the reader can't take for a resource: a directory or a device
static int IsPlainFile(FILE* pFile)
{
    struct stat st;
    return fstat(fileno(pFile), &st) == 0 && S_ISREG(st.st_mode);
}

// A light file's place in the Temp folder: its name and ".bin"
static int TempLightPath(const char* pstrName, char* pstrOut)
{
    char szFile[64];
    snprintf(szFile, sizeof(szFile), "%s.bin", pstrName);
    return twCore_GetTempPath(szFile, pstrOut);
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
    char szPath[TW_PATH_SIZE];
    if (pstrUserDir && pstrUserDir[0] && twCore_GetTempPath(szResource, szPath)) {
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
    char szPath[TW_PATH_SIZE];
    const char* pstrUserDir = twCore_GetUserDir();
    int bPath = TempLightPath(pstrName, szPath);
    // a stand-alone copy has no folder of its own to write in
    if (!pstrUserDir || !pstrUserDir[0] || !bPath || !twWriter_Open(pWriter, szPath)) {
        twLogError(pstrTag, "!fopen : '%s'\n", szPath);
        return 0;
    }
    return 1;
}

// A frame file's bytes to disk under its temporary name: the set puts it in place with the
// other two (twWorld_CommitLightSet)
static int FinishLightFile(TwWriter* pWriter, const char* pstrTag)
{
    if (twWriter_Finish(pWriter))
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
    return FinishLightFile(&writer, pstrTag);
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
    return FinishLightFile(&writer, EQ_TAG_SAVE);
}

// ---------------------------------------------------------------------------------------------
// The set: the five files in Temp belong together. LightSet.bin keeps each one's size and
// check sum, or that it is absent; its renaming is the moment a new set takes effect, and
// the files it names are then moved in from their temporary names. A start after a kill
// finishes those moves, so that Temp holds the old set or the new one, never a mix.
// ---------------------------------------------------------------------------------------------

#define SET_TAG "twWorld_CommitLightSet"
#define SETTLE_TAG "twWorld_SettleLightSet"
#define SET_FILE "LightSet.bin"

static const char* const s_apstrSetFiles[TW_LIGHT_NUM_FILES] = {"LightInit", "LightSort", "LightEq", "LightS",
                                                                  "LightM"};

struct TwLightSetEntry {
    uint32_t uiPresent;
    uint32_t uiCrc;   // zlib's crc32 of the bytes
    uint64_t uiSize;
};
static_assert(sizeof(TwLightSetEntry) == 16, "a set entry is 16 bytes on disk");

struct TwLightSetRecord {
    char acMagic[4];      // "LSET"
    uint32_t uiVersion;   // 1
    TwLightSetEntry entries[TW_LIGHT_NUM_FILES];
};
static_assert(sizeof(TwLightSetRecord) == 88, "the set record is 88 bytes on disk");

// The file's place in Temp, or its temporary name there while it waits for its set
static int SetFilePath(int iFile, int bPart, char* pstrOut)
{
    char szPath[TW_PATH_SIZE];
    if (!TempLightPath(s_apstrSetFiles[iFile], szPath))
        return 0;
    return snprintf(pstrOut, TW_PATH_SIZE + 16, bPart ? "%s.part" : "%s", szPath) < TW_PATH_SIZE + 16;
}

// The entry of a plain file's bytes; 0, the entry absent, when there is no such file
static int SumFile(const char* pstrPath, TwLightSetEntry* pEntry)
{
    memset(pEntry, 0, sizeof(*pEntry));
    FILE* pFile = fopen(pstrPath, "rb");
    if (!pFile)
        return 0;
    if (!IsPlainFile(pFile)) {
        fclose(pFile);
        return 0;
    }
    uint8_t aucChunk[16384];
    uLong uiCrc = crc32(0, nullptr, 0);
    size_t uiRead;
    while ((uiRead = fread(aucChunk, 1, sizeof(aucChunk), pFile)) > 0) {
        uiCrc = crc32(uiCrc, aucChunk, (uInt)uiRead);
        pEntry->uiSize += uiRead;
    }
    int bOk = !ferror(pFile);
    fclose(pFile);
    pEntry->uiPresent = (uint32_t)bOk;
    pEntry->uiCrc = (uint32_t)uiCrc;
    return bOk;
}

static int SameEntry(const TwLightSetEntry* a, const TwLightSetEntry* b)
{
    return a->uiPresent == b->uiPresent && a->uiCrc == b->uiCrc && a->uiSize == b->uiSize;
}

void twWorld_DropLightParts(int iFiles)
{
    char szPath[TW_PATH_SIZE + 16];
    for (int i = 0; i < TW_LIGHT_NUM_FILES; i++)
        if ((iFiles & (1 << i)) && SetFilePath(i, 1, szPath))
            unlink(szPath);
}

// A frame file of an external copy into Temp under its temporary name
static int CopyFramePart(int iFile, const char* pstrExternal)
{
    const char* pstrTag = "twWorld_SaveLight";
    TwReader reader;
    TwWriter writer = {};
    FILE* pFile = twWorld_OpenLightFile(s_apstrSetFiles[iFile], pstrExternal, &reader, pstrTag);
    if (!pFile)
        return 0;
    int bOk = twWorld_CreateLightFile(&writer, s_apstrSetFiles[iFile], pstrTag) &&
              twWriter_CopyStream(&writer, pFile, reader.iLeft, pstrTag);
    fclose(pFile);
    if (!bOk) {
        twWriter_Abandon(&writer);
        return 0;
    }
    return FinishLightFile(&writer, pstrTag);
}

// Makes Temp hold what the record says: each present file in place, each absent one gone.
// A commit has just summed every file (bSummed): those given by iFromParts move in from their
// temporary names unread. At start nothing is trusted: a file in place that differs from the
// record is replaced by its temporary one when that matches. 1 when every present file is in place.
static int PutSetInPlace(const TwLightSetRecord* pRecord, int bSummed, int iFromParts, const char* pstrTag)
{
    int bOk = 1;
    for (int i = 0; i < TW_LIGHT_NUM_FILES; i++) {
        char szPath[TW_PATH_SIZE + 16], szPart[TW_PATH_SIZE + 16];
        if (!SetFilePath(i, 0, szPath) || !SetFilePath(i, 1, szPart))
            return 0;
        const TwLightSetEntry* pWanted = &pRecord->entries[i];
        TwLightSetEntry found;
        if (!pWanted->uiPresent) {
            unlink(szPath);
            continue;
        }
        int bFromPart = (iFromParts >> i) & 1;
        if (bSummed ? !bFromPart : SumFile(szPath, &found) && SameEntry(&found, pWanted))
            continue;
        if ((bSummed || (SumFile(szPart, &found) && SameEntry(&found, pWanted))) && rename(szPart, szPath) == 0)
            continue;
        twLogError(pstrTag, "!%s.bin doesn't match its set\n", s_apstrSetFiles[i]);
        bOk = 0;
    }
    return bOk;
}

int twWorld_CommitLightSet(int iFromParts, int iStale)
{
    TwLightSetRecord record;
    memset(&record, 0, sizeof(record));
    memcpy(record.acMagic, "LSET", 4);
    record.uiVersion = 1;
    int bChanged = 0;
    for (int i = 0; i < TW_LIGHT_NUM_FILES; i++) {
        char szPath[TW_PATH_SIZE + 16];
        int bPart = (iFromParts >> i) & 1;
        if (!SetFilePath(i, bPart, szPath))
            continue;
        // a file in place that is missing is absent from the set; a new one must be there
        if (!SumFile(szPath, &record.entries[i]) && bPart) {
            twLogError(SET_TAG, "!fopen : '%s'\n", szPath);
            twWorld_DropLightParts(iFromParts);
            return 0;
        }
        TwLightSetEntry old;
        if (bPart && SetFilePath(i, 0, szPath))
            bChanged |= !SumFile(szPath, &old) || !SameEntry(&old, &record.entries[i]);
    }
    // what belonged to the files replaced goes with them; a frame computed again the same keeps its result
    for (int i = 0; i < TW_LIGHT_NUM_FILES && bChanged; i++)
        if ((iStale >> i) & 1)
            memset(&record.entries[i], 0, sizeof(record.entries[i]));
    TwWriter writer;
    if (!twWorld_CreateLightFile(&writer, "LightSet", SET_TAG)) {
        twWorld_DropLightParts(iFromParts);
        return 0;
    }
    twWriter_Write(&writer, &record, sizeof(record));
    if (!twWriter_Close(&writer)) {
        twLogError(SET_TAG, "!fwrite : '%s'\n", writer.szPath);
        twWorld_DropLightParts(iFromParts);
        return 0;
    }
    // the new set holds from here: a kill before the moves are done is finished at the next start
    return PutSetInPlace(&record, 1, iFromParts, SET_TAG);
}

int twWorld_SettleLightSet(void)
{
    char szPath[TW_PATH_SIZE], szResult[TW_PATH_SIZE + 16];
    if (!twCore_GetTempPath(SET_FILE, szPath))
        return 0;
    TwLightSetRecord record;
    FILE* pFile = fopen(szPath, "rb");
    int bRead = 0;
    if (pFile) {
        bRead = IsPlainFile(pFile) && fread(&record, 1, sizeof(record), pFile) == sizeof(record) &&
                fgetc(pFile) == EOF && memcmp(record.acMagic, "LSET", 4) == 0 && record.uiVersion == 1;
        fclose(pFile);
    }
    int bSet = 0;
    if (bRead)
        bSet = PutSetInPlace(&record, 0, 0, SETTLE_TAG) && record.entries[3].uiPresent && record.entries[4].uiPresent;
    else if (pFile)
        twLogError(SETTLE_TAG, "!%s is damaged: the light in Temp is passed over\n", SET_FILE);
    else if (SetFilePath(3, 0, szResult) && twCore_FileExists(szResult))
        twLogError(SETTLE_TAG, "The light files in Temp are not one set: they are passed over\n");
    // what a kill left under a temporary name is never taken for a light file
    twWorld_DropLightParts((1 << TW_LIGHT_NUM_FILES) - 1);
    return bSet;
}

// ---------------------------------------------------------------------------------------------
// The result: LightS.bin (the lightmaps) and LightM.bin (the smooth meshes' vertex light)
// ---------------------------------------------------------------------------------------------

#define S_TAG "twWorld_LoadLightS"
#define M_TAG "twWorld_LoadLightM"
#define SAVE_TAG "twWorld_SaveLight"

// The result files come from Temp when bLocal, else from the external copy or the own pack
static FILE* OpenResult(const char* pstrName, int bLocal, const char* pstrExternal, TwReader* pReader,
                        const char* pstrTag)
{
    if (!bLocal)
        return twWorld_OpenLightFile(pstrName, pstrExternal, pReader, pstrTag);
    char szPath[TW_PATH_SIZE];
    FILE* pFile = TempLightPath(pstrName, szPath) ? fopen(szPath, "rb") : nullptr;
    if (pFile && !IsPlainFile(pFile)) {
        fclose(pFile);
        pFile = nullptr;
    }
    if (!pFile) {
        twLogError(pstrTag, "!fopen : '%s'\n", szPath);
        return nullptr;
    }
    twReader_Init(pReader, pFile, -1);
    return pFile;
}

// A count or running number of a result file against the model's; the tag names the file
static int Matches(TwReader* pReader, int iExpected, const char* pstrWhat, const char* pstrTag)
{
    int32_t iFound = twReader_I32(pReader);
    if (pReader->bShort) {
        twLogError(pstrTag, "!the file is cut short\n");
        return 0;
    }
    if (iFound != iExpected) {
        twLogError(pstrTag, "%s mismatch (expected %d found %d)\n", pstrWhat, iExpected, iFound);
        return 0;
    }
    return 1;
}

static int Header(TwReader* pReader, const char* pstrMagic, const char* pstrTag)
{
    char acHeader[3];
    twReader_Read(pReader, acHeader, 3);
    if (memcmp(acHeader, pstrMagic, 3) == 0)
        return 1;
    twLogError(pstrTag, "!Header not '%s'\n", pstrMagic);
    return 0;
}

// A lightmap's luxels pass through the temp buffer on their way to or from its texture
static uint8_t* LuxelBuffer(int iBytes, const char* pstrTag)
{
    uint8_t* pucLuxels = (uint8_t*)twMem_GetTempBuffer(iBytes, 0);
    if (!pucLuxels)
        twLogError(pstrTag, "!twMem_GetTempBuffer\n");
    return pucLuxels;
}

int twWorld_LoadLightS(int bLocal, const char* pstrExternal)
{
    TwWorld* w = pWorld;
    twLog(S_TAG, "Loading light (from local file = %d path to external exe = %d)\n", bLocal, pstrExternal != nullptr);
    int iNumLightmaps = twWorld_CountLightmaps();
    TwReader reader;
    FILE* pFile = OpenResult("LightS", bLocal, pstrExternal, &reader, S_TAG);
    if (!pFile)
        return 0;
    int bOk = Header(&reader, "L_S", S_TAG) && Matches(&reader, iNumLightmaps, "Lightmap count", S_TAG) &&
              Matches(&reader, (int)w->uiNumSurfaces, "Surface count", S_TAG);
    for (uint32_t i = 0; i < w->uiNumSurfaces && bOk; i++)
        w->ppSurfaces[i]->bLit = twReader_U8(&reader) != 0;
    int iRunning = 0;
    TwLightmapWalk walk = {};
    for (TwLightmap* pLightmap = bOk ? twWorld_NextLightmap(&walk) : nullptr; pLightmap;
         pLightmap = twWorld_NextLightmap(&walk)) {
        bOk = Matches(&reader, iRunning++, "Lightmap index", S_TAG);
        if (!bOk)
            break;
        pLightmap->bLit = twReader_U8(&reader) != 0;
        if (!pLightmap->bLit)
            continue;
        int iBytes = pLightmap->iWidth * pLightmap->iHeight;
        uint8_t* pucLuxels = LuxelBuffer(iBytes, S_TAG);
        if (!pucLuxels) {
            bOk = 0;
            break;
        }
        twReader_Read(&reader, pucLuxels, iBytes);
        if (reader.bShort) {
            twLogError(S_TAG, "!the file is cut short\n");
            bOk = 0;
            break;
        }
        if (!w->bColourLightmaps) {
            glBindTexture(GL_TEXTURE_2D, pLightmap->pTexture->hTexture);
            glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, pLightmap->iWidth, pLightmap->iHeight, GL_LUMINANCE,
                            GL_UNSIGNED_BYTE, pucLuxels);
            glBindTexture(GL_TEXTURE_2D, 0);
        }
    }
    fclose(pFile);
    return bOk;
}

// A smooth mesh's vertices and then their light, into the mesh's own buffers: made when
// it has none yet, written over when it has
static int VertexLightBuffers(TwMesh* pMesh)
{
    int iVertBytes = pMesh->usNumVerts * (int)sizeof(TwVertex), iBytes = pMesh->usNumVerts * 36;
    uint8_t* pucBlock = (uint8_t*)twMem_GetTempBuffer(iBytes, 0);
    if (!pucBlock) {
        twLogError(M_TAG, "!twMem_GetTempBuffer\n");
        return 0;
    }
    memcpy(pucBlock, pMesh->pVerts, (size_t)iVertBytes);
    memcpy(pucBlock + iVertBytes, pMesh->pucVertexLight, (size_t)pMesh->usNumVerts * 4);
    if (pMesh->hVboVerts)
        return twOgl_UpdateVbo(pMesh->hVboVerts, 0, 0, iBytes, pucBlock) ? iBytes : 0;
    pMesh->hVboVerts = twOgl_CreateVbo(0, 0, iBytes, pucBlock);
    if (pMesh->hVboVerts) {
        pMesh->hVboIndices = twOgl_CreateVbo(0, 1, pMesh->usNumIndices * 2, pMesh->pusIndices);
        if (!pMesh->hVboIndices) {
            twOgl_FreeVbo(pMesh->hVboVerts);
            pMesh->hVboVerts = 0;
        }
    }
    return pMesh->hVboVerts ? iBytes : 0;
}

int twWorld_LoadLightM(int bLocal, const char* pstrExternal)
{
    TwWorld* w = pWorld;
    if (bLocal)
        twLog(M_TAG, "Loading mesh light from local file\n");
    else if (pstrExternal)
        twLog(M_TAG, "Loading mesh light from ext res '%s'\n", pstrExternal);
    else
        twLog(M_TAG, "Loading mesh light from std res\n");
    TwReader reader;
    FILE* pFile = OpenResult("LightM", bLocal, pstrExternal, &reader, M_TAG);
    if (!pFile)
        return 0;
    int bOk = Header(&reader, "L_M", M_TAG) && Matches(&reader, w->iNumMeshes, "Mesh count", M_TAG);
    int iSmooth = 0, iCopied = 0;
    for (int m = 0; m < w->iNumMeshes; m++)
        iSmooth += w->ppMeshes[m]->bSmooth != 0;
    if (bOk)
        twLog(M_TAG, "Meshes in file that will get vertex light = %d\n", iSmooth);
    for (int m = 0; m < w->iNumMeshes && bOk; m++) {
        TwMesh* pMesh = w->ppMeshes[m];
        if (!pMesh->bSmooth)
            continue;
        pMesh->bLit = twReader_I32(&reader);
        bOk = Matches(&reader, pMesh->iIndex, "Mesh index", M_TAG);
        if (bOk && !pMesh->pucVertexLight) {
            twLogError(M_TAG, "!pMesh->pucVertexLight\n");
            bOk = 0;
        }
        if (!bOk)
            break;
        twReader_Read(&reader, pMesh->pucVertexLight, pMesh->usNumVerts * 4);
        if (reader.bShort) {
            twLogError(M_TAG, "!the file is cut short\n");
            bOk = 0;
            break;
        }
        iCopied += VertexLightBuffers(pMesh);
    }
    fclose(pFile);
    if (bOk)
        twLog(M_TAG, "---Copied %d bytes for Vbo:s---\n", iCopied);
    return bOk;
}

int twWorld_LoadLight(int bLocal, const char* pstrExternal)
{
    const char* pstrTag = "twWorld_LoadLight";
    if (!twWorld_LoadLightS(bLocal, pstrExternal)) {
        twLogError(pstrTag, "!twWorld_LoadLightS\n");
        return 0;
    }
    if (!twWorld_LoadLightM(bLocal, pstrExternal)) {
        twLogError(pstrTag, "!twWorld_LoadLightM\n");
        return 0;
    }
    pWorld->bLightLocal = bLocal;
    pWorld->bLightExternal = pstrExternal != nullptr;
    twWorld_ResetLightProgress();
    return 1;
}

int twWorld_SaveLight(void)
{
    TwWorld* w = pWorld;
    TwWriter writerS, writerM;
    memset(&writerM, 0, sizeof(writerM));
    if (!twWorld_CreateLightFile(&writerS, "LightS", SAVE_TAG))
        return 0;
    twWriter_Write(&writerS, "L_S", 3);
    twWriter_U32(&writerS, (uint32_t)twWorld_CountLightmaps());
    twWriter_U32(&writerS, w->uiNumSurfaces);
    for (uint32_t i = 0; i < w->uiNumSurfaces; i++)
        twWriter_U8(&writerS, w->ppSurfaces[i]->bLit);
    // the luxels come straight from the textures, whatever the window's size
    int bOk = 1;
    uint32_t uiRunning = 0;
    TwLightmapWalk walk = {};
    while (TwLightmap* pLightmap = twWorld_NextLightmap(&walk)) {
        twWriter_U32(&writerS, uiRunning++);
        twWriter_U8(&writerS, pLightmap->bLit);
        if (!pLightmap->bLit)
            continue;
        int iBytes = pLightmap->iWidth * pLightmap->iHeight;
        uint8_t* pucLuxels = LuxelBuffer(iBytes, SAVE_TAG);
        if (!pucLuxels) {
            bOk = 0;
            break;
        }
        glBindTexture(GL_TEXTURE_2D, pLightmap->pTexture->hTexture);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE, pucLuxels);
        glBindTexture(GL_TEXTURE_2D, 0);
        twWriter_Write(&writerS, pucLuxels, iBytes);
    }
    if (bOk && twWorld_CreateLightFile(&writerM, "LightM", SAVE_TAG)) {
        twWriter_Write(&writerM, "L_M", 3);
        twWriter_U32(&writerM, (uint32_t)w->iNumMeshes);
        for (int m = 0; m < w->iNumMeshes && bOk; m++) {
            const TwMesh* pMesh = w->ppMeshes[m];
            if (!pMesh->bSmooth)
                continue;
            if (!pMesh->pucVertexLight) {
                twLogError(SAVE_TAG, "!pMesh->pucVertexLight\n");
                bOk = 0;
                break;
            }
            twWriter_U32(&writerM, (uint32_t)pMesh->bLit);
            twWriter_U32(&writerM, (uint32_t)pMesh->iIndex);
            twWriter_Write(&writerM, pMesh->pucVertexLight, pMesh->usNumVerts * 4);
        }
    } else {
        bOk = 0;
    }
    // both files or neither: the previous solution stays whole when either fails
    int bFinished = bOk && twWriter_Finish(&writerS) && twWriter_Finish(&writerM);
    if (bOk && !bFinished)
        twLogError(SAVE_TAG, "!fwrite : '%s'\n", writerS.bFailed ? writerS.szPath : writerM.szPath);
    int iParts = TW_LIGHT_RESULT_FILES;
    // a frame read from a copy joins the result in Temp, so that the set there is whole
    if (bFinished && w->szLightExternal[0] && !w->bLightNewInit) {
        for (int i = 0; i < 3 && bFinished; i++)
            bFinished = CopyFramePart(i, w->szLightExternal);
        iParts |= TW_LIGHT_FRAME_FILES;
    }
    if (bFinished && twWorld_CommitLightSet(iParts, 0))
        return 1;
    twWriter_Abandon(&writerS);
    twWriter_Abandon(&writerM);
    twWorld_DropLightParts(iParts);
    return 0;
}

int twWorld_SetLightAside(const char* pstrFolder)
{
    twWindow_CreateDirectory(pstrFolder);
    int iMoved = 0;
    char szFrom[TW_PATH_SIZE], szTo[TW_PATH_SIZE * 2];
    for (int i = 0; i <= TW_LIGHT_NUM_FILES; i++) {
        // the five files, then the set's record, so that no half set stays behind
        int bSet = i == TW_LIGHT_NUM_FILES;
        if (bSet ? !twCore_GetTempPath(SET_FILE, szFrom) : !TempLightPath(s_apstrSetFiles[i], szFrom))
            continue;
        if (!twCore_FileExists(szFrom))
            continue;
        snprintf(szTo, sizeof(szTo), "%s%s", pstrFolder, twCore_BaseName(szFrom));
        if (twWindow_RenameFile(szFrom, szTo))
            iMoved++;
        else
            twLogError("twWorld_SetLightAside", "!rename : '%s'\n", szTo);
    }
    return iMoved;
}
