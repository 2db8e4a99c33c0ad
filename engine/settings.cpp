// The user's display and navigation choices: one list read and written in both directions,
// so that load and save can't part ways. A load sets wanted fields only; the caller applies.
#include <math.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/writer.h"
#include "navigation/camera.h"

#define TAG "twEngine_LoadSaveSettings"
#define SETTINGS_VERSION 25u

enum SettingType { ST_INT, ST_FLOAT };
enum SettingLoad { LOAD_RANGE, LOAD_STREAM_ONLY, LOAD_NEVER, LOAD_ANY };

struct Setting {
    int iType;
    int iLoad;
    float fMin, fMax;
    void* pSaved; // the applied field
    void* pLoaded; // the wanted field
};

// The 25 items after the version, in file order
static int BuildList(Setting* a)
{
    TwEngine* e = pEngine;
    TwCamera* c = pCam;
    const Setting aList[TW_SETTINGS_ITEMS - 1] = {
        {ST_INT, LOAD_RANGE, 0, 1, &e->bShowHints, &e->bShowHints},
        {ST_INT, LOAD_RANGE, 0, 1, &e->iUnits, &e->iUnitsWanted},
        {ST_INT, LOAD_RANGE, 0, 1, &e->bSoftShadows, &e->bSoftShadows},
        {ST_INT, LOAD_RANGE, 0, TW_NUM_BACKGROUNDS - 1, &e->iBackground, &e->iBackgroundWanted},
        {ST_INT, LOAD_STREAM_ONLY, 0, 0, &e->iRenderMode, &e->iRenderModeWanted},
        {ST_INT, LOAD_STREAM_ONLY, 0, 0, &e->bDrawEdges, &e->bDrawEdges},
        {ST_INT, LOAD_RANGE, 0, 1, &e->bPlayOnStart, &e->bPlayOnStart},
        {ST_INT, LOAD_RANGE, 0, 1, &e->bPlayWhenIdle, &e->bPlayWhenIdle},
        {ST_INT, LOAD_RANGE, 0, 1, &e->bDrawFlare, &e->bDrawFlare},
        {ST_INT, LOAD_RANGE, 0, 1, &e->bSkyFollowsSun, &e->bSkyFollowsSun},
        {ST_INT, LOAD_RANGE, 0, 1, &e->iSceneOption, &e->iSceneOptionWanted},
        {ST_INT, LOAD_NEVER, 0, 0, &e->bSunShadows, nullptr},
        {ST_INT, LOAD_NEVER, 0, 0, &e->bOcclusionCulling, nullptr},
        {ST_INT, LOAD_ANY, 0, 0, &c->bWalk, &c->bWalk},
        {ST_INT, LOAD_RANGE, 0, 1, &c->bInvertMouse, &c->bInvertMouse},
        {ST_INT, LOAD_RANGE, 10, 80, &e->iSunAltitude, &e->iSunAltitudeWanted},
        {ST_INT, LOAD_RANGE, 0, 360, &e->iSunAzimuth, &e->iSunAzimuthWanted},
        {ST_FLOAT, LOAD_RANGE, -1, 1, &e->fSunShadow, &e->fSunShadowWanted},
        {ST_FLOAT, LOAD_RANGE, 0.2f, 0.8f, &e->fLightLevel, &e->fLightLevelWanted},
        {ST_FLOAT, LOAD_RANGE, 0, 2, &e->fLightGain, &e->fLightGain},
        {ST_FLOAT, LOAD_RANGE, 0.15f, 0.4f, &e->fCollisionSize, &e->fCollisionSize},
        {ST_FLOAT, LOAD_RANGE, 0.6f, 2.0f, &c->fStandHeight, &c->fStandHeight},
        {ST_FLOAT, LOAD_RANGE, 10, 120, &c->fFov, &c->fFov},
        {ST_FLOAT, LOAD_RANGE, 1, 100, &c->fSpeed, &c->fSpeed},
        {ST_FLOAT, LOAD_RANGE, 0.05f, 0.25f, &c->fMouseSpeed, &c->fMouseSpeed},
    };
    memcpy(a, aList, sizeof(aList));
    return TW_SETTINGS_ITEMS - 1;
}

static int Save(FILE* pStream)
{
    Setting aList[TW_SETTINGS_ITEMS];
    int iCount = BuildList(aList);
    uint8_t aucBytes[TW_SETTINGS_SIZE];
    uint32_t uiVersion = SETTINGS_VERSION;
    memcpy(aucBytes, &uiVersion, 4);
    for (int i = 0; i < iCount; i++)
        memcpy(aucBytes + 4 + 4 * i, aList[i].pSaved, 4); // ints and floats are both 4 bytes as they stand
    if (pStream)
        return fwrite(aucBytes, 1, sizeof(aucBytes), pStream) == sizeof(aucBytes);
    char szPath[TW_PATH_SIZE];
    TwWriter writer;
    if (!twCore_GetTempPath(TW_SETTINGS_FILE, szPath) || !twWriter_Open(&writer, szPath)) {
        twLogError(TAG, "!fopen : '%s'\n", szPath);
        return 0;
    }
    twWriter_Write(&writer, aucBytes, sizeof(aucBytes));
    return twWriter_Close(&writer);
}

// One item: the wanted field takes it when it passes its test, else keeps what it had
static void LoadItem(const Setting* s, const uint8_t* pucBytes, int iItem, int bStream)
{
    if (s->iLoad == LOAD_NEVER || (s->iLoad == LOAD_STREAM_ONLY && !bStream))
        return;
    int32_t iValue;
    float fValue;
    memcpy(&iValue, pucBytes, 4);
    memcpy(&fValue, pucBytes, 4);
    int bTake = 1;
    if (s->iLoad == LOAD_RANGE) {
        // a NaN fails both tests
        if (s->iType == ST_INT)
            bTake = iValue >= (int32_t)s->fMin && iValue <= (int32_t)s->fMax;
        else
            bTake = fValue >= s->fMin && fValue <= s->fMax;
    }
    if (bTake)
        memcpy(s->pLoaded, pucBytes, 4);
    else
        twLog(TAG, "Item %d is out of range: it keeps its value\n", iItem);
}

static int Load(FILE* pStream, int bGiven)
{
    uint8_t aucBytes[TW_SETTINGS_SIZE + 1];
    // a local file is exactly the list; a stream from a pack holds at least it
    size_t iRead = fread(aucBytes, 1, bGiven ? TW_SETTINGS_SIZE : sizeof(aucBytes), pStream);
    uint32_t uiVersion = 0;
    if (iRead >= 4)
        memcpy(&uiVersion, aucBytes, 4);
    if (iRead >= 4 && uiVersion != SETTINGS_VERSION) {
        twLogError(TAG, "!version mismatch (expected %d, found %d)\n", SETTINGS_VERSION, uiVersion);
        return 0;
    }
    if (iRead != TW_SETTINGS_SIZE) {
        twLogError(TAG, "!The settings are %s than %d bytes: the defaults stay\n",
                   iRead < TW_SETTINGS_SIZE ? "shorter" : "longer", TW_SETTINGS_SIZE);
        return 0;
    }
    Setting aList[TW_SETTINGS_ITEMS];
    int iCount = BuildList(aList);
    for (int i = 0; i < iCount; i++)
        LoadItem(&aList[i], aucBytes + 4 + 4 * i, i + 1, bGiven);
    // the camera switches by its own steps
    if (pCam->bWalk)
        twCamera_StartWalking(pCam);
    else
        twCamera_StartFlying(pCam);
    return 1;
}

int twEngine_LoadSaveSettings(FILE* pFile, int bSave)
{
    if (!pEngine || !pCam)
        return 0;
    twLog(TAG, "%s settings %s local file\n", bSave ? "Saving" : "Loading", bSave ? "to" : "from");
    if (bSave)
        return Save(pFile);
    if (pFile)
        return Load(pFile, 1);
    char szPath[TW_PATH_SIZE];
    FILE* pOwn = twCore_GetTempPath(TW_SETTINGS_FILE, szPath) ? fopen(szPath, "rb") : nullptr;
    if (!pOwn) {
        twLogError(TAG, "!fopen : '%s'\n", szPath);
        return 0;
    }
    int bOk = Load(pOwn, 0);
    fclose(pOwn);
    return bOk;
}

// ---------------------------------------------------------------------------------------------
// The picture's choices: a file of their own, so that Settings.bin keeps its list
// ---------------------------------------------------------------------------------------------

#define PICTURE_TAG "twEngine_LoadSavePicture"
#define PICTURE_VERSION 1u

struct TwPictureRecord {
    char acTag[4]; // TW_PICTURE_TAG
    uint32_t uiVersion;
    int32_t bSmoothEdges;
    int32_t iShotFormat;
};
static_assert(sizeof(TwPictureRecord) == 16, "the record mirrors the file");

int twEngine_ReadPicture(FILE* pFile)
{
    TwPictureRecord record;
    uint8_t ucMore;
    int bOk = fread(&record, 1, sizeof(record), pFile) == sizeof(record) && fread(&ucMore, 1, 1, pFile) == 0 &&
              memcmp(record.acTag, TW_PICTURE_TAG, 4) == 0 && record.uiVersion == PICTURE_VERSION &&
              (record.bSmoothEdges == 0 || record.bSmoothEdges == 1) &&
              (record.iShotFormat == TW_SHOT_BMP || record.iShotFormat == TW_SHOT_PNG);
    if (!bOk) {
        twLogError(PICTURE_TAG, "!%s isn't a picture record of %d bytes: the choices stay\n", TW_PICTURE_FILE,
                   (int)sizeof(record));
        return 0;
    }
    pEngine->bSmoothEdges = record.bSmoothEdges;
    pEngine->iShotFormat = record.iShotFormat;
    return 1;
}

int twEngine_LoadSavePicture(int bSave)
{
    char szPath[TW_PATH_SIZE];
    if (!pEngine || !twCore_GetTempPath(TW_PICTURE_FILE, szPath))
        return 0;
    if (bSave) {
        TwPictureRecord record = {{0}, PICTURE_VERSION, pEngine->bSmoothEdges, pEngine->iShotFormat};
        memcpy(record.acTag, TW_PICTURE_TAG, 4);
        TwWriter writer;
        if (!twWriter_Open(&writer, szPath)) {
            twLogError(PICTURE_TAG, "!fopen : '%s'\n", szPath);
            return 0;
        }
        twWriter_Write(&writer, &record, sizeof(record));
        return twWriter_Close(&writer);
    }
    FILE* pFile = fopen(szPath, "rb");
    if (!pFile)
        return 0; // none yet: the defaults stand
    int bOk = twEngine_ReadPicture(pFile);
    fclose(pFile);
    return bOk;
}
