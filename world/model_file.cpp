#include <GL/glew.h>
#include <stdarg.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/reader.h"
#include "engine/timer.h"
#include "engine/vector.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "world/world.h"

#define TAG "twWorld_LoadModel"
#define STATUS_OLD_VERSION 2
#define ELEMENT_MIN_BYTES (TW_ELEMENT_RECORD_SIZE + 3 + 4) // record, "MSH", mesh count

// Everything one load needs to pass around
struct Load {
    FILE* pFile;
    TwReader reader;
    int64_t iStart;             // stream position of the model's first byte
    int64_t iSize;              // bytes of the model
    TwProgressFn pfnProgress;
};

// Logs what went wrong and ends the load: the stream is closed, the records read so far
// stay for twWorld_Free
static int Fail(Load* pLoad, const char* pstrFormat, ...) __attribute__((format(printf, 2, 3)));
static int Fail(Load* pLoad, const char* pstrFormat, ...)
{
    char szText[TW_LOG_MESSAGE_SIZE];
    va_list args;
    va_start(args, pstrFormat);
    vsnprintf(szText, sizeof(szText), pstrFormat, args);
    va_end(args);
    twLogError(TAG, "%s", szText);
    if (pLoad->pFile) {
        fclose(pLoad->pFile);
        pLoad->pFile = nullptr;
    }
    return 0;
}

static int ReadTag(Load* pLoad, const char* pstrTag)
{
    char acTag[3];
    twReader_Read(&pLoad->reader, acTag, 3);
    return memcmp(acTag, pstrTag, 3) == 0;
}

// Opens a chunk: its heading in the log and its tag; then the count of its records, each
// of at least iEach bytes, checked against the bytes left before anything is allocated
// for them: -1 when the load ends here.
static int OpenChunk(Load* pLoad, const char* pstrTag, const char* pstrWhat)
{
    twLog(TAG, "\n");
    twLog(TAG, "Loading %s\n", pstrWhat);
    twLog(TAG, "\n");
    if (!ReadTag(pLoad, pstrTag))
        return Fail(pLoad, "Failed to find %s\n", pstrTag);
    return 1;
}

static int ReadChunkCount(Load* pLoad, const char* pstrTag, const char* pstrWhat, int iEach)
{
    if (!OpenChunk(pLoad, pstrTag, pstrWhat))
        return -1;
    int32_t iCount = twReader_I32(&pLoad->reader);
    twLog(TAG, "Number of %s to load = %d\n", pstrWhat, iCount);
    if (!twReader_Fits(&pLoad->reader, iCount, iEach)) {
        Fail(pLoad, "!Number of %s %d is more than the file holds\n", pstrWhat, iCount);
        return -1;
    }
    return iCount;
}

static void Progress(Load* pLoad)
{
    if (!pLoad->pfnProgress || pLoad->iSize <= 0)
        return;
    int64_t iPos = ftello(pLoad->pFile);
    pLoad->pfnProgress(nullptr, nullptr, (float)(uint64_t)(iPos - pLoad->iStart) / (float)(uint64_t)pLoad->iSize);
}

// Opens the model: the own pack, a named pack, or a plain file. Returns the stream at
// the model's first byte, with its size and where it came from.
static FILE* OpenSource(const char* pszPath, int bPack, int64_t* piSize, int* piSource)
{
    int iSize = 0;
    if (!pszPath) {
        *piSource = TW_MODEL_OWN_PACK;
        FILE* pFile = twCore_GetResource("Export.bin", &iSize);
        if (!pFile)
            twLogError(TAG, "!twCore_GetResource\n");
        *piSize = iSize;
        return pFile;
    }
    if (bPack) {
        *piSource = TW_MODEL_NAMED_PACK;
        FILE* pFile = twCore_GetResourceExt("Export.bin", pszPath, &iSize);
        if (!pFile)
            twLogError(TAG, "!twCore_GetResourceExt\n");
        *piSize = iSize;
        return pFile;
    }
    *piSource = TW_MODEL_PLAIN_FILE;
    FILE* pFile = fopen(pszPath, "rb");
    if (!pFile) {
        twLogError(TAG, "!fopen : '%s'\n", pszPath);
        return nullptr;
    }
    fseeko(pFile, 0, SEEK_END);
    *piSize = ftello(pFile);
    fseeko(pFile, 0, SEEK_SET);
    return pFile;
}

static int ReadEnvironment(Load* pLoad, TwCamera* pCam, char* pszProjectName, int* piSunAltitude, int* piSunAzimuth)
{
    TwReader* r = &pLoad->reader;
    if (!OpenChunk(pLoad, "ENV", "environment"))
        return 0;
    char szName[256];
    twReader_Read(r, szName, sizeof(szName));
    szName[255] = 0;
    float afPos[3], afTarget[3], fAltitude, fAzimuth;
    twReader_Read(r, afPos, sizeof(afPos));
    twReader_Read(r, afTarget, sizeof(afTarget));
    fAltitude = twReader_F32(r);
    fAzimuth = twReader_F32(r);
    twReader_Read(r, pWorld->vSunColor, sizeof(pWorld->vSunColor));
    twReader_Read(r, pWorld->vSkyColor, sizeof(pWorld->vSkyColor));
    twLog(TAG, "Project name = '%s'\n", szName);
    if (pszProjectName)
        snprintf(pszProjectName, TW_PATH_SIZE, "%s", szName);
    twLog(TAG, "Sun color = %f, %f, %f\n", pWorld->vSunColor[0], pWorld->vSunColor[1], pWorld->vSunColor[2]);
    twLog(TAG, "Sky color = %f, %f, %f\n", pWorld->vSkyColor[0], pWorld->vSkyColor[1], pWorld->vSkyColor[2]);
    // the camera and its target come in the CAD host's Z-up axes
    if ((afPos[0] != 0 || afPos[1] != 0 || afPos[2] != 0) && pCam) {
        pCam->vPos[0] = afPos[0];
        pCam->vPos[1] = afPos[2];
        pCam->vPos[2] = -afPos[1];
        float afAim[3] = {afTarget[0], afTarget[2], -afTarget[1]};
        twCamera_LookAt(pCam, afAim);
        twLog(TAG, "Camera position = %f, %f, %f\n", pCam->vPos[0], pCam->vPos[1], pCam->vPos[2]);
    }
    // a sun that isn't a direction (NaN, infinite, past the poles) leaves the one there was
    if (piSunAltitude && piSunAzimuth && !(fAltitude >= -90 && fAltitude <= 90 && fAzimuth >= -3600 &&
                                           fAzimuth <= 3600)) {
        twLogError(TAG, "!Sun angles %f, %f are no direction: the sun stays as it was\n", fAltitude, fAzimuth);
    } else if (piSunAltitude && piSunAzimuth) {
        *piSunAltitude = (int)fAltitude;
        int iAzimuth = (int)fAzimuth + 90;
        if (iAzimuth >= 360)
            iAzimuth -= 360;
        iAzimuth = (iAzimuth % 360 + 360) % 360; // only a turn beyond the file's usual range moves
        *piSunAzimuth = iAzimuth == 0 ? 1 : iAzimuth;
    }
    return 1;
}

static int ReadTextures(Load* pLoad)
{
    TwReader* r = &pLoad->reader;
    int iCount = ReadChunkCount(pLoad, "TEX", "textures", TW_TEXTURE_RECORD_SIZE);
    if (iCount < 0)
        return 0;
    pWorld->ppTextures = (TwTexture**)twMem_Malloc((uint32_t)(iCount + 1) * sizeof(TwTexture*), "pWorld->ppTextures");
    if (!pWorld->ppTextures)
        return Fail(pLoad, "!malloc : pWorld->ppTextures\n");
    pWorld->iNumTextures = iCount;
    for (int i = 0; i < iCount; i++) {
        Progress(pLoad);
        uint8_t aucRecord[TW_TEXTURE_RECORD_SIZE];
        twReader_Read(r, aucRecord, sizeof(aucRecord));
        aucRecord[TW_TEX_NAME_SIZE - 1] = 0;
        const char* pstrName = (const char*)aucRecord;
        int32_t iWidth, iHeight, bUseAlpha;
        memcpy(&iWidth, aucRecord + 128, 4);
        memcpy(&iHeight, aucRecord + 132, 4);
        memcpy(&bUseAlpha, aucRecord + 156, 4);
        twLog(TAG, "Texture %d\n", i);
        twLog(TAG, "  Name = %s\n", pstrName);
        twLog(TAG, "  W x H = %d x %d\n", iWidth, iHeight);
        twLog(TAG, "  UseAlpha = %d\n", bUseAlpha);
        TwTexture* pTexture = twOgl_LoadTexture(pstrName, pLoad->pFile, bUseAlpha ? GL_RGBA : GL_RGB, 1, 1, 0);
        // the image reader read the stream itself: it must have stayed inside the model
        if (!pTexture || !twReader_Sync(r))
            return Fail(pLoad, "!twOgl_LoadTexture\n");
        pWorld->ppTextures[i] = pTexture;
        // The file's record goes over the texture's, keeping its GL name and the size it
        // counts in the texture memory. The shared texture of a driver without S3TC
        // isn't the model's to change.
        if (pTexture != twOgl_GetWhiteTexture() && pTexture != twOgl_GetDefaultTexture()) {
            uint32_t uiNumBytes = pTexture->uiNumBytes;
            memcpy(pTexture, aucRecord, offsetof(TwTexture, hTexture));
            pTexture->uiNumBytes = uiNumBytes;
        }
    }
    return 1;
}

// The fixed part of a mesh block, field by field, then its arrays
static int ReadMesh(Load* pLoad, TwMesh* pMesh, int iRunningIndex)
{
    TwReader* r = &pLoad->reader;
    pMesh->iIndex = (int32_t)twReader_U32(r);
    pMesh->usNumVerts = twReader_U16(r);
    pMesh->usNumIndices = twReader_U16(r);
    pMesh->usNumEdgeIndices = twReader_U16(r);
    pMesh->iMaterial = twReader_I32(r);
    pMesh->bSmooth = twReader_I32(r);
    pMesh->bLit = twReader_I32(r);
    twReader_Read(r, pMesh->vCentre, sizeof(pMesh->vCentre));
    twReader_Read(r, pMesh->vHalfSize, sizeof(pMesh->vHalfSize));
    twReader_Read(r, pMesh->auiKept, sizeof(pMesh->auiKept));
    pMesh->usNumSurfaces = twReader_U16(r);
    pMesh->iIndex = iRunningIndex;

    // the three arrays are allocated even when empty
    pMesh->pVerts = (TwVertex*)twMem_Malloc(pMesh->usNumVerts * (uint32_t)sizeof(TwVertex), "pMesh->pVerts");
    if (!pMesh->pVerts)
        return Fail(pLoad, "!malloc : pMesh->pVerts\n");
    twReader_Read(r, pMesh->pVerts, pMesh->usNumVerts * (int64_t)sizeof(TwVertex));
    pMesh->pusIndices = (uint16_t*)twMem_Malloc(pMesh->usNumIndices * 2u, "pMesh->pusIndices");
    if (!pMesh->pusIndices)
        return Fail(pLoad, "!malloc : pMesh->pusIndices\n");
    twReader_Read(r, pMesh->pusIndices, pMesh->usNumIndices * 2);
    pMesh->pusEdgeIndices = (uint16_t*)twMem_Malloc(pMesh->usNumEdgeIndices * 2u, "pMesh->pusEdgeIndices");
    if (!pMesh->pusEdgeIndices)
        return Fail(pLoad, "!malloc : pMesh->pusEdgeIndices\n");
    twReader_Read(r, pMesh->pusEdgeIndices, pMesh->usNumEdgeIndices * 2);
    // a smooth mesh never carries surfaces, whatever its count says
    if (!pMesh->bSmooth && pMesh->usNumSurfaces) {
        pMesh->pSurfaces = (TwMeshSurface*)twMem_Malloc(pMesh->usNumSurfaces * 8u, "pMesh->pSurfaces");
        if (!pMesh->pSurfaces)
            return Fail(pLoad, "!malloc : pMesh->pSurfaces\n");
        twReader_Read(r, pMesh->pSurfaces, pMesh->usNumSurfaces * 8);
    }
    if (r->bShort)
        return 1; // the next tag test reports the file's end
    // every index must name a vertex of its own mesh: the drawing and the collision trust them
    for (int i = 0; i < pMesh->usNumIndices; i++)
        if (pMesh->pusIndices[i] >= pMesh->usNumVerts)
            return Fail(pLoad, "!Mesh %d: index %d lies past its %d vertices\n", iRunningIndex, pMesh->pusIndices[i],
                        pMesh->usNumVerts);
    for (int i = 0; i < pMesh->usNumEdgeIndices; i++)
        if (pMesh->pusEdgeIndices[i] >= pMesh->usNumVerts)
            return Fail(pLoad, "!Mesh %d: edge index %d lies past its %d vertices\n", iRunningIndex,
                        pMesh->pusEdgeIndices[i], pMesh->usNumVerts);
    for (int i = 0; pMesh->pSurfaces && i < pMesh->usNumSurfaces; i++) {
        const TwMeshSurface* pSurface = &pMesh->pSurfaces[i];
        if (pSurface->usFirstIndex + pSurface->usNumIndices > pMesh->usNumIndices)
            return Fail(pLoad, "!Mesh %d: surface %d lies past its %d indices\n", iRunningIndex, i,
                        pMesh->usNumIndices);
    }
    return 1;
}

static void CopyElementRecord(const uint8_t* pRecord, TwElement* pElement)
{
    memcpy(&pElement->uiWord0, pRecord + TW_ELM_WORD0, 4);
    memcpy(&pElement->iNumVerts, pRecord + TW_ELM_NUM_VERTS, 4);
    memcpy(&pElement->iNumIndices, pRecord + TW_ELM_NUM_INDICES, 4);
    memcpy(pElement->vMin, pRecord + TW_ELM_BOXES, 48); // vMin, vMax, vCentre, vHalfSize
    memcpy(pElement->aucExporter1, pRecord + TW_ELM_EXPORTER1, sizeof(pElement->aucExporter1));
    memcpy(&pElement->iType, pRecord + TW_ELM_TYPE, 4);
    memcpy(pElement->aucExporter2, pRecord + TW_ELM_EXPORTER2, sizeof(pElement->aucExporter2));
    memcpy(&pElement->iLayer, pRecord + TW_ELM_LAYER, 4);
    memcpy(pElement->aucExporter3, pRecord + TW_ELM_EXPORTER3, sizeof(pElement->aucExporter3));
}

static int ReadElements(Load* pLoad)
{
    TwReader* r = &pLoad->reader;
    int iCount = ReadChunkCount(pLoad, "ELM", "elements", ELEMENT_MIN_BYTES);
    if (iCount < 0)
        return 0;
    float vMin[3] = {TW_EMPTY_BOX_MIN, TW_EMPTY_BOX_MIN, TW_EMPTY_BOX_MIN};
    float vMax[3] = {-TW_EMPTY_BOX_MIN, -TW_EMPTY_BOX_MIN, -TW_EMPTY_BOX_MIN};
    float vBuildingMin[3], vBuildingMax[3];
    memcpy(vBuildingMin, vMin, sizeof(vMin));
    memcpy(vBuildingMax, vMax, sizeof(vMax));
    int iNumTris = 0, iNumPhysTris = 0, iNumDoors = 0, iNumMeshes = 0, iWithGeometry = 0;
    pWorld->pElements = (TwElement*)twMem_Malloc((uint32_t)iCount * sizeof(TwElement), "pWorld->pElements");
    if (!pWorld->pElements)
        return Fail(pLoad, "!malloc : pWorld->pElements\n");
    pWorld->iNumElements = iCount; // so that a failed load frees what it read
    int32_t iTotal = twReader_I32(r);
    twLog(TAG, "Total number of meshes to load = %d\n", iTotal);
    if (iTotal == 0)
        return Fail(pLoad, "There are zero meshes to load in total\n");

    for (int e = 0; e < iCount; e++) {
        Progress(pLoad);
        TwElement* pElement = &pWorld->pElements[e];
        uint8_t aucRecord[TW_ELEMENT_RECORD_SIZE];
        twReader_Read(r, aucRecord, sizeof(aucRecord));
        CopyElementRecord(aucRecord, pElement);
        if (pElement->iType == TW_TYPE_DOOR)
            iNumDoors++;
        if (!ReadTag(pLoad, "MSH"))
            return Fail(pLoad, "Failed to find MSH\n");
        int32_t iNumToLoad = twReader_I32(r);
        twLog(TAG, "  Number of meshes to load = %d\n", iNumToLoad);
        if (iNumToLoad == 0)
            return Fail(pLoad, "There are zero meshes to load in element\n");
        if (!twReader_Fits(r, iNumToLoad, TW_MESH_FIXED_SIZE))
            return Fail(pLoad, "!Number of meshes %d is more than the file holds\n", iNumToLoad);
        pElement->pMeshes = (TwMesh*)twMem_Malloc((uint32_t)iNumToLoad * sizeof(TwMesh), "pElement->pMeshes");
        if (!pElement->pMeshes)
            return Fail(pLoad, "!malloc : pElement->pMeshes\n");
        pElement->iNumMeshes = iNumToLoad;
        int iLoaded = 0;
        for (int m = 0; m < iNumToLoad; m++) {
            TwMesh* pMesh = &pElement->pMeshes[m];
            if (!ReadMesh(pLoad, pMesh, iNumMeshes))
                return 0;
            iNumTris += pMesh->usNumIndices / 3;
            if (twWorld_CollidesByType(pElement->iType))
                iNumPhysTris += pMesh->usNumIndices / 3;
            if (pMesh->usNumIndices)
                iWithGeometry++;
            iNumMeshes++;
            iLoaded++;
            pElement->iNumVerts += pMesh->usNumVerts;
            pElement->iNumIndices += pMesh->usNumIndices;
        }
        if (iLoaded != iNumToLoad)
            return Fail(pLoad, "NumMeshesLoaded %d != NumMeshesToLoad %d\n", iLoaded, iNumToLoad);
        twBox_Grow(vMin, vMax, pElement->vMin, pElement->vMax);
        if (twWorld_GrowsBuildingByType(pElement->iType))
            twBox_Grow(vBuildingMin, vBuildingMax, pElement->vMin, pElement->vMax);
    }
    twLog(TAG, "Number of meshes loaded = %d\n", iNumMeshes);
    twLog(TAG, "Number of meshes with geometry = %d\n", iWithGeometry);
    // a model file has no mesh instances: the line keeps its place in the log, always at 0
    twLog(TAG, "Number of mesh instances = %d\n", 0);
    twLog(TAG, "Number of door elements = %d\n", iNumDoors);
    if (iNumMeshes != iTotal)
        return Fail(pLoad, "NumMeshesLoadedTotal %d != NumMeshesToLoadTotal %d\n", iNumMeshes, iTotal);
    pWorld->iNumMeshes = iNumMeshes;
    pWorld->iNumTris = iNumTris;
    pWorld->iNumPhysTris = iNumPhysTris;
    pWorld->iNumDoors = iNumDoors;
    memcpy(pWorld->vMin, vMin, sizeof(vMin));
    memcpy(pWorld->vMax, vMax, sizeof(vMax));
    memcpy(pWorld->vBuildingMin, vBuildingMin, sizeof(vMin));
    memcpy(pWorld->vBuildingMax, vBuildingMax, sizeof(vMax));
    return 1;
}

static int ReadMaterials(Load* pLoad)
{
    TwReader* r = &pLoad->reader;
    int iCount = ReadChunkCount(pLoad, "MAT", "materials", TW_MATERIAL_RECORD_SIZE);
    if (iCount < 0)
        return 0;
    pWorld->pMaterials = (TwMaterial*)twMem_Malloc((uint32_t)iCount * sizeof(TwMaterial), "pWorld->pMaterials");
    if (!pWorld->pMaterials)
        return Fail(pLoad, "!malloc : pWorld->pMaterials\n");
    pWorld->iNumMaterials = iCount;
    for (int i = 0; i < iCount; i++) {
        TwMaterial* pMaterial = &pWorld->pMaterials[i];
        twReader_Read(r, pMaterial, sizeof(TwMaterial));
        pMaterial->szName[sizeof(pMaterial->szName) - 1] = 0;
        twLog(TAG, "Material %d\n", i);
        twLog(TAG, "  Name = %s\n", pMaterial->szName);
        twLog(TAG, "  Texture = %d\n", pMaterial->iTexture);
        twLog(TAG, "  Diffuse = %f, %f, %f\n", pMaterial->vDiffuse[0], pMaterial->vDiffuse[1], pMaterial->vDiffuse[2]);
        twLog(TAG, "  Transparency = %f\n", pMaterial->fTransparency);
        twLog(TAG, "  IsTransparent = %d\n", pMaterial->bIsTransparent);
        if (pMaterial->iTexture != -1 && (pMaterial->iTexture < 0 || pMaterial->iTexture >= pWorld->iNumTextures))
            return Fail(pLoad, "!Material %d uses texture %d of %d\n", i, pMaterial->iTexture, pWorld->iNumTextures);
        TwTexture* pTexture = pMaterial->iTexture >= 0 ? pWorld->ppTextures[pMaterial->iTexture] : nullptr;
        if (pTexture && (pTexture == twOgl_GetDefaultTexture() || pTexture == twOgl_GetWhiteTexture())) {
            twLog(TAG, "  Forced to non-textured since S3TC is not supported\n");
            pMaterial->iTexture = -1;
        }
    }
    // meshes name their materials before the materials come: check them now
    for (int e = 0; e < pWorld->iNumElements; e++)
        for (int m = 0; m < pWorld->pElements[e].iNumMeshes; m++) {
            const TwMesh* pMesh = &pWorld->pElements[e].pMeshes[m];
            if (pMesh->iMaterial < 0 || pMesh->iMaterial >= iCount)
                return Fail(pLoad, "!Mesh %d uses material %d of %d\n", pMesh->iIndex, pMesh->iMaterial, iCount);
        }
    return 1;
}

int twWorld_LoadModel(TwProgressFn pfnProgress, const char* pszPath, int bPack, TwCamera* pCam, char* pszProjectName,
                      int* piSunAltitude, int* piSunAzimuth, int bVbo, int* piStatus)
{
    if (piStatus)
        *piStatus = 1;
    if (!pWorld)
        return 0;
    double dStart = twTimer_Seconds();
    Load load;
    memset(&load, 0, sizeof(load));
    load.pfnProgress = pfnProgress;
    int iSource = 0;
    load.pFile = OpenSource(pszPath, bPack, &load.iSize, &iSource);
    if (!load.pFile)
        return 0;
    load.iStart = ftello(load.pFile);
    twReader_Init(&load.reader, load.pFile, load.iSize);
    if (pWorld->bLoaded) {
        twLog(TAG, "Freeing prev data\n");
        twWorld_Free();
    } else if (pWorld->pElements || pWorld->ppTextures || pWorld->pMaterials || pWorld->pElementGroups) {
        // what a failed load left behind goes before a new one comes
        twWorld_Free();
    }
    pWorld->iModelSource = iSource;
    snprintf(pWorld->szModelPath, sizeof(pWorld->szModelPath), "%s", pszPath ? pszPath : "");

    TwReader* r = &load.reader;
    if (!ReadTag(&load, "AMB"))
        return Fail(&load, "Failed to find AMB\n");
    int32_t iVersion = twReader_I32(r);
    if (iVersion < TW_MODEL_VERSION_MIN) {
        if (piStatus)
            *piStatus = STATUS_OLD_VERSION;
        return Fail(&load, "AMB version %d < %d\n", iVersion, TW_MODEL_VERSION_MIN);
    }
    twReader_Read(r, pWorld->aucHeader1, sizeof(pWorld->aucHeader1));
    twReader_Read(r, pWorld->aucHeader2, sizeof(pWorld->aucHeader2));
    twReader_Read(r, pWorld->auiHeaderWords, sizeof(pWorld->auiHeaderWords));
    if (!ReadEnvironment(&load, pCam, pszProjectName, piSunAltitude, piSunAzimuth) || !ReadTextures(&load) ||
        !ReadElements(&load) || !ReadMaterials(&load))
        return 0;

    int iNumLayers = ReadChunkCount(&load, "LAY", "layers", TW_LAYER_SIZE);
    if (iNumLayers < 0)
        return 0;
    if (!twLayers_Load(load.pFile, iNumLayers))
        return Fail(&load, "!twLayers_Load\n");

    fclose(load.pFile);
    load.pFile = nullptr;
    if (pfnProgress)
        pfnProgress(nullptr, nullptr, 1.0f);
    twCore_FormatThousands((uint32_t)pWorld->iNumTris, pWorld->szNumTris);
    twLog(TAG, "Total number of triangles = %s\n", pWorld->szNumTris);
    twLog(TAG, "Total number of textures = %d\n", pWorld->iNumTextures);
    twLog(TAG, "Total number of materials = %d\n", pWorld->iNumMaterials);
    twLog(TAG, "Post-processing world\n");
    pWorld->afLoadSeconds[0] = (float)(twTimer_Seconds() - dStart);
    if (!twWorld_PostLoadProcess(pCam, bVbo)) {
        twLogError(TAG, "!twWorld_PostLoadProcess\n");
        return 0;
    }
    twLog(TAG, "World was successfully loaded\n");
    pWorld->bLoaded = 1;
    // the first frame binds its programs afresh
    pWorld->iCurrentVp = pWorld->iCurrentFp = -1;
    return 1;
}
