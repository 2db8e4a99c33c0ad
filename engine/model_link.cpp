// Building models opened through the exporter, which runs beside the frames, and what its
// model brings: the open model replaced, or on a reload the walker, layers and light kept
#include "engine/model_link.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/window.h"
#include "world/world.h"

#define TAG "twLink"
#define REPORT_TAIL 512 // bytes of the exporter's report read for its last line

TwLink* pLink = nullptr;

void twLink_Message(const char* pstrFirst, const char* pstrSecond)
{
    char szText[sizeof(pEngine->szMessageText)];
    snprintf(szText, sizeof(szText), "%.200s %.300s", pstrFirst, pstrSecond);
    twEngine_ShowMessage(TW_MESSAGE_TEXT, TW_MESSAGE_SECONDS, szText);
}

// A file put at the end of a set; 0 when it doesn't fit
static int AddToSet(char* pstrSet, size_t uiSize, const char* pstrFile)
{
    size_t uiAt = strlen(pstrSet), uiLen = strlen(pstrFile), uiTab = uiAt ? 1 : 0;
    if (uiAt + uiTab + uiLen + 1 > uiSize)
        return 0;
    if (uiTab)
        pstrSet[uiAt] = '\t';
    memcpy(pstrSet + uiAt + uiTab, pstrFile, uiLen + 1);
    return 1;
}

int twLink_SplitSet(const char* pstrSet, char (*paszOut)[TW_PATH_SIZE], int iMax)
{
    int n = 0;
    for (const char* p = pstrSet; p && *p && n < iMax;) {
        int iLen = (int)strcspn(p, "\t");
        if (iLen > 0 && iLen < TW_PATH_SIZE) {
            memcpy(paszOut[n], p, (size_t)iLen);
            paszOut[n++][iLen] = 0;
        }
        p += iLen + (p[iLen] == '\t');
    }
    return n;
}

void twLink_SetName(const char* pstrSet, char* pstrOut, int iOutSize)
{
    char aszFiles[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    int n = twLink_SplitSet(pstrSet, aszFiles, TW_LINK_MAX_SOURCES);
    if (n > 1)
        snprintf(pstrOut, iOutSize, "%.200s +%d", twCore_BaseName(aszFiles[0]), n - 1);
    else
        snprintf(pstrOut, iOutSize, "%.200s", n ? twCore_BaseName(aszFiles[0]) : "");
}

// The first IFC file of a set, by the first line of its header: only the IFC engine is
// worth starting ahead; null when none is
static const char* FirstIfc(const char* pstrSet, char* pstrOut)
{
    char aszFiles[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    int n = twLink_SplitSet(pstrSet, aszFiles, TW_LINK_MAX_SOURCES);
    for (int i = 0; i < n; i++) {
        char szLine[64];
        twWindow_ReadFirstLine(aszFiles[i], szLine, sizeof(szLine));
        if (!strncmp(szLine, "ISO-10303-21", 12))
            return strcpy(pstrOut, aszFiles[i]);
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// The export
// ---------------------------------------------------------------------------------------------

static void RemoveExportFiles(void)
{
    char szPath[TW_PATH_SIZE], szMore[TW_PATH_SIZE + 16];
    twCore_GetTempPath(TW_LINK_OUTPUT, szPath);
    if (!szPath[0])
        return;
    twWindow_DeleteFile(szPath);
    snprintf(szMore, sizeof(szMore), "%s.part", szPath);
    twWindow_DeleteFile(szMore);
    for (int i = 0; i < TW_NUM_SIDE_FILES; i++) {
        twWorld_SideFilePath(szPath, i, szMore);
        twWindow_DeleteFile(szMore);
        strcat(szMore, ".part");
        twWindow_DeleteFile(szMore);
    }
}

// Why the exporter failed, from its "error" line (its other lines are for a person and may
// be warnings), the model of several it left out and why (a "skipped" line), and the last
// fraction it told
static void ReadReport(char* pstrWhy, int iWhySize, float* pfFraction, char* pstrSkipped = nullptr,
                       int iSkippedSize = 0)
{
    char szPath[TW_PATH_SIZE], acTail[REPORT_TAIL + 1];
    if (pstrWhy)
        pstrWhy[0] = 0;
    if (pstrSkipped)
        pstrSkipped[0] = 0;
    twCore_GetTempPath(TW_LINK_REPORT, szPath);
    FILE* pFile = szPath[0] ? fopen(szPath, "rb") : nullptr;
    if (!pFile)
        return;
    long lSize = fseek(pFile, 0, SEEK_END) == 0 ? ftell(pFile) : 0;
    long lFrom = lSize > REPORT_TAIL ? lSize - REPORT_TAIL : 0;
    size_t uiGot = fseek(pFile, lFrom, SEEK_SET) == 0 ? fread(acTail, 1, REPORT_TAIL, pFile) : 0;
    fclose(pFile);
    acTail[uiGot] = 0;
    for (char* pLine = strtok(acTail, "\n"); pLine; pLine = strtok(nullptr, "\n")) {
        float f;
        if (sscanf(pLine, "progress %f", &f) == 1 && pfFraction)
            *pfFraction = f;
        else if (!strncmp(pLine, "error ", 6) && pstrWhy)
            snprintf(pstrWhy, iWhySize, "%s", pLine + 6);
        else if (!strncmp(pLine, "skipped ", 8) && pstrSkipped)
            snprintf(pstrSkipped, iSkippedSize, "%s", pLine + 8);
    }
}

// ---------------------------------------------------------------------------------------------
// The export started ahead
// ---------------------------------------------------------------------------------------------

static void StopWaiting(void)
{
    TwLink* l = pLink;
    if (l->iWaitingFeed >= 0)
        close(l->iWaitingFeed);
    if (l->iWaitingPid)
        twWindow_StopProgram(l->iWaitingPid);
    l->iWaitingFeed = -1;
    l->iWaitingPid = 0;
}

// The exporter's words for a set: "--background -q [--keep <Temp's kept streams>] -o
// <output>", then what more is given, up to null; their number
static int ExporterArgs(const char* pstrSet, const char** ppstrArgs, char* pstrExporter, char* pstrOutput,
                        char* pstrKept)
{
    char aszFiles[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    int n = 0;
    snprintf(pstrExporter, TW_PATH_SIZE, "%s%s", twCore_GetProgramDir(), TW_EXPORTER_NAME);
    twCore_GetTempPath(TW_LINK_OUTPUT, pstrOutput);
    twCore_GetTempPath(TW_LINK_KEPT, pstrKept);
    ppstrArgs[n++] = pstrExporter;
    ppstrArgs[n++] = "--background";
    ppstrArgs[n++] = "-q";
    // a save of one of several reads the others from what their engine said last
    if (pstrKept[0] && twLink_SplitSet(pstrSet, aszFiles, TW_LINK_MAX_SOURCES) > 1) {
        ppstrArgs[n++] = "--keep";
        ppstrArgs[n++] = pstrKept;
    }
    ppstrArgs[n++] = "-o";
    ppstrArgs[n++] = pstrOutput;
    ppstrArgs[n] = nullptr;
    return n;
}

static void StartWaiting(void)
{
    TwLink* l = pLink;
    char szExporter[TW_PATH_SIZE], szOutput[TW_PATH_SIZE], szKept[TW_PATH_SIZE], szReport[TW_PATH_SIZE];
    char szIfc[TW_PATH_SIZE];
    const char* apstrArgs[16];
    int n = ExporterArgs(l->szSource, apstrArgs, szExporter, szOutput, szKept);
    twCore_GetTempPath(TW_LINK_REPORT, szReport);
    if (!szOutput[0] || !szReport[0] || access(szExporter, X_OK) != 0 || !FirstIfc(l->szSource, szIfc))
        return;
    apstrArgs[n++] = "--wait";
    apstrArgs[n++] = "--warm";
    apstrArgs[n++] = szIfc;
    apstrArgs[n] = nullptr;
    RemoveExportFiles();
    l->iWaitingPid = twWindow_StartProgram(apstrArgs, szReport, &l->iWaitingFeed);
    if (!l->iWaitingPid)
        return;
    snprintf(l->szWaitingFor, sizeof(l->szWaitingFor), "%s", l->szSource);
    twLog(TAG, "The next export of '%s' waits ready\n", twCore_BaseName(szIfc));
}

// The export started ahead given its file; 0 when there is none or it has gone
static int TakeWaiting(const char* pstrPath)
{
    TwLink* l = pLink;
    int iExit = 0;
    char aszFiles[2][TW_PATH_SIZE];
    // one started for one file keeps no streams, which a set's next save would want
    if (!l->iWaitingPid ||
        (twLink_SplitSet(pstrPath, aszFiles, 2) > 1) != (twLink_SplitSet(l->szWaitingFor, aszFiles, 2) > 1))
        return 0;
    if (twWindow_PollProgram(l->iWaitingPid, &iExit)) {
        twLogError(TAG, "!The export waiting ready ended with %d: one starts anew\n", iExit);
        l->iWaitingPid = 0;
        StopWaiting();
        return 0;
    }
    // the set's files one a line, and an empty line
    char szLines[TW_SET_SIZE + 2];
    int iLen = snprintf(szLines, sizeof(szLines), "%s\n\n", pstrPath);
    for (char* p = szLines; *p; p++)
        if (*p == '\t')
            *p = '\n';
    int bSent = iLen < (int)sizeof(szLines) && !strchr(pstrPath, '\n') && write(l->iWaitingFeed, szLines, iLen) == iLen;
    if (!bSent) {
        StopWaiting();
        return 0;
    }
    close(l->iWaitingFeed);
    l->iWaitingFeed = -1;
    l->iPid = l->iWaitingPid;
    l->iWaitingPid = 0;
    return 1;
}

static int StartExport(const char* pstrPath, int bReload)
{
    TwLink* l = pLink;
    char szExporter[TW_PATH_SIZE], szOutput[TW_PATH_SIZE], szKept[TW_PATH_SIZE], szReport[TW_PATH_SIZE];
    char aszFiles[TW_LINK_MAX_SOURCES][TW_PATH_SIZE], szName[256];
    const char* apstrArgs[16 + TW_LINK_MAX_SOURCES];
    int n = ExporterArgs(pstrPath, apstrArgs, szExporter, szOutput, szKept);
    int iFiles = twLink_SplitSet(pstrPath, aszFiles, TW_LINK_MAX_SOURCES);
    for (int i = 0; i < iFiles; i++)
        apstrArgs[n++] = aszFiles[i];
    apstrArgs[n] = nullptr;
    twLink_SetName(pstrPath, szName, sizeof(szName));
    twCore_GetTempPath(TW_LINK_REPORT, szReport);
    if (access(szExporter, X_OK) != 0) {
        twLogError(TAG, "!The exporter '%s' isn't beside the viewer\n", szExporter);
        twLink_Message(twStrings_Get(TW_LINK_STR_NOT_OPENED), TW_EXPORTER_NAME);
        return 0;
    }
    if (!szOutput[0] || !szReport[0]) {
        twLogError(TAG, "!twCore_GetTempPath : no folder for the export of '%s'\n", pstrPath);
        twLink_Message(twStrings_Get(TW_LINK_STR_NOT_OPENED), szName);
        return 0;
    }
    int bWaiting = TakeWaiting(pstrPath);
    if (!bWaiting) {
        StopWaiting();
        RemoveExportFiles();
        l->iPid = twWindow_StartProgram(apstrArgs, szReport, nullptr);
        if (!l->iPid) {
            twLink_Message(twStrings_Get(TW_LINK_STR_NOT_OPENED), TW_EXPORTER_NAME);
            return 0;
        }
    }
    l->bReload = bReload;
    snprintf(l->szExporting, sizeof(l->szExporting), "%s", pstrPath);
    l->fFraction = -1;
    l->dStarted = twTimer_Seconds();
    twLog(TAG, "Exporting '%s'%s\n", pstrPath,
          bReload == TW_LINK_SAVED ? " again: it was saved" : bReload ? " again: a file added or taken away" : "");
    if (bWaiting)
        twLog(TAG, "The export waiting ready takes it\n");
    return 1;
}

int twLink_IsExporting(void) { return pLink && pLink->iPid; }

// The exporter stopped, and nothing of it kept
static void StopExport(void)
{
    twWindow_StopProgram(pLink->iPid);
    pLink->iPid = 0;
    RemoveExportFiles();
}

void twLink_Cancel(void)
{
    if (!twLink_IsExporting())
        return;
    StopExport();
    twLog(TAG, "The export of '%s' was cancelled\n", pLink->szExporting);
    char szName[256];
    twLink_SetName(pLink->szExporting, szName, sizeof(szName));
    twLink_Message(twStrings_Get(TW_LINK_STR_CANCELLED), szName);
}

int twLink_Open(const char* pstrGiven, int bReload)
{
    if (!pLink || !pstrGiven || !pstrGiven[0])
        return 0;
    // the list of recent models and the watch need whole paths; of several files, one that
    // can't be opened is left out and the others open
    char aszGiven[TW_LINK_MAX_SOURCES][TW_PATH_SIZE], szSet[TW_SET_SIZE] = "";
    int iGiven = twLink_SplitSet(pstrGiven, aszGiven, TW_LINK_MAX_SOURCES), iFiles = 0;
    for (int i = 0; i < iGiven; i++) {
        char szPath[PATH_MAX];
        if (!realpath(aszGiven[i], szPath) || strlen(szPath) >= TW_PATH_SIZE)
            snprintf(szPath, sizeof(szPath), "%s", aszGiven[i]);
        const char* pstrWhy = twLink_WhyNot(szPath);
        if (pstrWhy) {
            twLogError(TAG, "!'%s' %s: %s\n", szPath, pstrWhy, iGiven > 1 ? "left out" : "the open model stays");
            char szLine[TW_PATH_SIZE];
            snprintf(szLine, sizeof(szLine), "%.200s %s", twCore_BaseName(szPath), pstrWhy);
            twLink_Message(twStrings_Get(TW_LINK_STR_NOT_OPENED), szLine);
            continue;
        }
        if (!AddToSet(szSet, sizeof(szSet), szPath))
            break;
        iFiles++;
    }
    if (!iFiles)
        return 0;
    const char* pstrPath = szSet;
    // one export at a time: a new open takes the place of one that runs
    if (twLink_IsExporting()) {
        StopExport();
        twLog(TAG, "The export of '%s' makes way\n", pLink->szExporting);
    }
    if (!bReload && iFiles == 1 && twCore_HasResource(TW_MODEL_RESOURCE, pstrPath)) {
        // a published copy opens through its own loader, with its light and gallery
        pEngine->fProgressFade = 0;
        if (!twEngine_Load(pstrPath))
            return 0;
        pLink->szSource[0] = 0;
        twLink_Watch();
        twLink_AddRecent(pstrPath);
        return 1;
    }
    return StartExport(pstrPath, bReload);
}

// ---------------------------------------------------------------------------------------------
// The new model
// ---------------------------------------------------------------------------------------------

// The kept hidden layers hidden again in the model now open
static void HideLayers(const char* pstrNames)
{
    int iHidden = twLayers_HideNamed(pstrNames);
    twWorld_UpdateHiddenElements();
    if (iHidden)
        twLog(TAG, "%d layers kept hidden\n", iHidden);
}

// "<Temp>Set aside/<model> <date and time>/"
static void SetAsideFolder(const char* pstrSource, char* pstrOut)
{
    char szBase[TW_PATH_SIZE], szStem[128], szStamp[32];
    twCore_GetTempPath(TW_LINK_SET_ASIDE, szBase);
    snprintf(szStem, sizeof(szStem), "%.100s", twCore_BaseName(pstrSource));
    char* pDot = strrchr(szStem, '.');
    if (pDot && pDot != szStem)
        *pDot = 0;
    time_t t = time(nullptr);
    struct tm local;
    localtime_r(&t, &local);
    strftime(szStamp, sizeof(szStamp), "%Y-%m-%d %H.%M.%S", &local);
    snprintf(pstrOut, TW_PATH_SIZE, "%.300s/%s %s/", szBase, szStem, szStamp);
}

// Moves the model of the export into Temp's place, with its side files, once it has loaded
static void PutModelInPlace(const char* pstrFrom)
{
    char szTo[TW_PATH_SIZE], szSideFrom[TW_PATH_SIZE], szSideTo[TW_PATH_SIZE];
    twCore_GetTempPath(TW_MODEL_RESOURCE, szTo);
    if (!twWindow_RenameFile(pstrFrom, szTo)) {
        twLogError(TAG, "!rename : '%s'\n", szTo);
        return;
    }
    snprintf(pWorld->szModelPath, sizeof(pWorld->szModelPath), "%s", szTo);
    for (int i = 0; i < TW_NUM_SIDE_FILES; i++) {
        twWorld_SideFilePath(pstrFrom, i, szSideFrom);
        twWorld_SideFilePath(szTo, i, szSideTo);
        if (!twCore_FileExists(szSideFrom) || !twWindow_RenameFile(szSideFrom, szSideTo))
            twWindow_DeleteFile(szSideTo); // an older one would tell of another model
    }
}

// The model that was open before a load the loader refused, back as it was: from the copy
// it came from or from Temp, with its light, the walker where he stood and its hidden
// layers hidden
static void RestoreOpen(const char* pstrOpen, int iSource, const TwCamera* pKept, const char* pstrHidden)
{
    TwEngine* e = pEngine;
    int bCopy = iSource == TW_MODEL_NAMED_PACK;
    int iAltitude = e->iSunAltitudeWanted, iAzimuth = e->iSunAzimuthWanted;
    if (!pstrOpen[0] || !twWorld_LoadModel(nullptr, pstrOpen, bCopy, pCam, e->szModelInfo, &iAltitude, &iAzimuth,
                                           e->bUseVbo, nullptr)) {
        twLogError(TAG, "!twWorld_LoadModel : '%s' doesn't come back\n", pstrOpen);
        return;
    }
    if (!bCopy)
        twWorld_LoadElementInfo(pstrOpen);
    else
        twWorld_LoadPackSideFiles(pstrOpen, TW_MODEL_RESOURCE);
    twEngine_ModelIn(1);
    twCamera_CopyPlace(pCam, pKept);
    HideLayers(pstrHidden);
    if (bCopy)
        twEngine_LoadCopyLight(pstrOpen, TAG);
    else
        twEngine_ReloadLight(nullptr);
    twLog(TAG, "'%s' is open again\n", twCore_BaseName(pstrOpen));
}

// The name a file of a set gives its layers ("<model> / <storey>"): its own, without folders
// and extension
static void ModelName(const char* pstrFile, char* pstrOut, int iOutSize)
{
    snprintf(pstrOut, iOutSize, "%.200s", twCore_BaseName(pstrFile));
    char* pDot = strrchr(pstrOut, '.');
    if (pDot && pDot != pstrOut)
        *pDot = 0;
}

// The kept hidden layers' names for the model of another set: a model alone names its
// layers by storey, one of several "<model> / <storey>". So a file added to one alone
// puts its name before the names, and the last left of several takes its own away (the
// others' layers are gone). A new block, or null when the names stay as they are.
static char* RenameKept(const char* pstrKept, const char* pstrOldSet, const char* pstrNewSet)
{
    char aszOld[TW_LINK_MAX_SOURCES][TW_PATH_SIZE], aszNew[TW_LINK_MAX_SOURCES][TW_PATH_SIZE], szModel[256];
    int iOld = twLink_SplitSet(pstrOldSet, aszOld, TW_LINK_MAX_SOURCES);
    int iNew = twLink_SplitSet(pstrNewSet, aszNew, TW_LINK_MAX_SOURCES);
    if (!pstrKept || (iOld > 1) == (iNew > 1) || !iOld || !iNew)
        return nullptr;
    ModelName(iOld == 1 ? aszOld[0] : aszNew[0], szModel, sizeof(szModel));
    size_t uiPrefix = strlen(szModel) + strlen(TW_LAYER_SOURCE_MARK), uiSize = 1;
    for (const char* p = pstrKept; *p; p += strlen(p) + 1)
        uiSize += strlen(p) + 1 + uiPrefix;
    char* pstrOut = (char*)twMem_Malloc((uint32_t)uiSize, "pKeptLayers");
    if (!pstrOut) {
        twLogError(TAG, "!malloc : pKeptLayers\n");
        return nullptr;
    }
    size_t n = 0;
    for (const char* p = pstrKept; *p; p += strlen(p) + 1) {
        if (iOld == 1) {
            n += snprintf(pstrOut + n, uiSize - n, "%s%s%s", szModel, TW_LAYER_SOURCE_MARK, p) + 1;
        } else if (!strncmp(p, szModel, strlen(szModel)) && !strncmp(p + strlen(szModel), TW_LAYER_SOURCE_MARK,
                                                                       strlen(TW_LAYER_SOURCE_MARK))) {
            n += snprintf(pstrOut + n, uiSize - n, "%s", p + uiPrefix) + 1;
        }
    }
    pstrOut[n] = 0;
    return pstrOut;
}

static void Finish(int iExit)
{
    TwLink* l = pLink;
    TwEngine* e = pEngine;
    l->iPid = 0;
    l->bWaitAhead = 1;
    char szOutput[TW_PATH_SIZE], szLine[160], szSkipped[160];
    twCore_GetTempPath(TW_LINK_OUTPUT, szOutput);
    ReadReport(szLine, sizeof(szLine), nullptr, szSkipped, sizeof(szSkipped));
    if (iExit != 0 || !twCore_FileExists(szOutput)) {
        // one that crashed says nothing: its end is all there is to tell
        if (!szLine[0])
            snprintf(szLine, sizeof(szLine), "%s", iExit < 0 ? "the exporter broke off" : "no model");
        twLogError(TAG, "!The exporter ended with %d on '%s': %s\n", iExit, l->szExporting, szLine);
        // the reason on a line of its own, under the file's name
        char szWhy[TW_PATH_SIZE];
        char szName[256];
        twLink_SetName(l->szExporting, szName, sizeof(szName));
        snprintf(szWhy, sizeof(szWhy), "%.60s\n%.150s", szName, szLine);
        twLink_Message(twStrings_Get(TW_LINK_STR_NOT_OPENED), szWhy);
        RemoveExportFiles();
        return;
    }
    int bReload = l->bReload;
    TwCamera kept = *pCam;
    if (bReload)
        twLog(TAG, "Reloading with the walker at %.3f %.3f %.3f\n", pCam->vPos[0], pCam->vPos[1], pCam->vPos[2]);
    // what is open now, to come back as it was should the loader refuse the new model
    char szOpen[TW_PATH_SIZE];
    int iOpenSource = twWorld_GetModelLocation(szOpen);
    int bWasLoaded = pWorld->bLoaded;
    char* pstrHidden = twLayers_KeepHidden(nullptr);
    // a reload keeps the user's sun; a new model brings its own, as at start
    int iAltitude = e->iSunAltitudeWanted, iAzimuth = e->iSunAzimuthWanted;
    if (!bReload)
        e->fProgressFade = 0;
    double dLoad = twTimer_Seconds();
    int bLoaded = twWorld_LoadModel(bReload ? nullptr : twEngine_ShowProgress, szOutput, 0, pCam, e->szModelInfo,
                                    &iAltitude, &iAzimuth, e->bUseVbo, nullptr);
    if (!bLoaded) {
        // our own exporter's model that the loader refuses: the one that was open comes back
        twLogError(TAG, "!twWorld_LoadModel : '%s'\n", l->szExporting);
        RemoveExportFiles();
        if (bWasLoaded)
            RestoreOpen(szOpen, iOpenSource, &kept, pstrHidden);
        twMem_Free(pstrHidden);
        char szName[256];
        twLink_SetName(l->szExporting, szName, sizeof(szName));
        twLink_Message(twStrings_Get(TW_LINK_STR_NOT_OPENED), szName);
        return;
    }
    PutModelInPlace(szOutput);
    twWorld_LoadElementInfo(pWorld->szModelPath);
    if (bReload) {
        twCamera_CopyPlace(pCam, &kept);
        char* pstrRenamed = RenameKept(pstrHidden, l->szSource, l->szExporting);
        HideLayers(pstrRenamed ? pstrRenamed : pstrHidden);
        twMem_Free(pstrRenamed);
    } else {
        e->iSunAltitudeWanted = iAltitude;
        e->iSunAzimuthWanted = iAzimuth;
        twEngine_TakeSitePlace(&pWorld->place);
    }
    twMem_Free(pstrHidden);
    twEngine_ModelIn(bReload);
    // the light of Temp, when it still fits; else it goes aside, kept
    char szAside[TW_PATH_SIZE];
    char aszFirst[1][TW_PATH_SIZE] = {""};
    twLink_SplitSet(l->szExporting, aszFirst, 1);
    SetAsideFolder(aszFirst[0], szAside);
    if (twEngine_ReloadLight(szAside) < 0) {
        twLogError(TAG, "The light no longer fits the model: it is kept in '%s'\n", szAside);
        // the folder from the viewer's own, which the user knows
        const char* pstrUser = twCore_GetUserDir();
        size_t uiUser = pstrUser ? strlen(pstrUser) : 0;
        const char* pstrShown = uiUser && !strncmp(szAside, pstrUser, uiUser) ? szAside + uiUser : szAside;
        twLink_Message(twStrings_Get(TW_LINK_STR_LIGHT_SET_ASIDE), pstrShown);
    }
    snprintf(l->szSource, sizeof(l->szSource), "%s", l->szExporting);
    snprintf(e->szModelPath, sizeof(e->szModelPath), "%s", aszFirst[0]);
    twEngine_ApplySettings();
    char szName[256];
    twLink_SetName(l->szSource, szName, sizeof(szName));
    twLog(TAG, "'%s' loaded in %.2f s after an export of %.2f s\n", szName,
          twTimer_Seconds() - dLoad, dLoad - l->dStarted);
    // of several, one that couldn't be read is named; the others are open
    if (szSkipped[0]) {
        twLogError(TAG, "!Left out of '%s': %s\n", szName, szSkipped);
        twLink_Message(twStrings_Get(TW_LINK_STR_NOT_OPENED), szSkipped);
    }
    if (bReload)
        l->dLastReload = twTimer_Seconds();
    if (bReload != TW_LINK_SAVED) {
        twLink_AddRecent(l->szSource);
        twLink_Watch();
    }
}

static int InSet(const char* pstrSet, const char* pstrFile)
{
    char aszIn[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    int n = twLink_SplitSet(pstrSet, aszIn, TW_LINK_MAX_SOURCES);
    for (int i = 0; i < n; i++)
        if (!strcmp(aszIn[i], pstrFile))
            return 1;
    return 0;
}

int twLink_ChangeSet(const char* pstrAdd, const char* pstrRemove)
{
    TwLink* l = pLink;
    if (!l || !l->szSource[0]) {
        twLogError(TAG, "!No model of the exporter's is open: nothing to add to or take from\n");
        return 0;
    }
    char aszOld[TW_LINK_MAX_SOURCES][TW_PATH_SIZE], aszAdd[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    char szSet[TW_SET_SIZE] = "", szRemove[PATH_MAX] = "";
    int iOld = twLink_SplitSet(l->szSource, aszOld, TW_LINK_MAX_SOURCES);
    int iAdd = pstrAdd ? twLink_SplitSet(pstrAdd, aszAdd, TW_LINK_MAX_SOURCES) : 0, iFiles = 0;
    if (pstrRemove && !realpath(pstrRemove, szRemove))
        snprintf(szRemove, sizeof(szRemove), "%s", pstrRemove);
    for (int i = 0; i < iOld + iAdd; i++) {
        const char* pstrFile = i < iOld ? aszOld[i] : aszAdd[i - iOld];
        char szReal[PATH_MAX];
        if (!realpath(pstrFile, szReal))
            snprintf(szReal, sizeof(szReal), "%s", pstrFile);
        // once each, the one taken away not at all
        int bTwice = !strcmp(szReal, szRemove) || InSet(szSet, szReal);
        if (!bTwice && iFiles < TW_LINK_MAX_SOURCES && AddToSet(szSet, sizeof(szSet), szReal))
            iFiles++;
    }
    if (!iFiles) {
        twLogError(TAG, "!The last file of the model stays: it can't be taken away\n");
        return 0;
    }
    if (!strcmp(szSet, l->szSource))
        return 0;
    return twLink_Open(szSet, TW_LINK_SET_CHANGED);
}

void twLink_Update(void)
{
    TwLink* l = pLink;
    if (!l)
        return;
    char szDropped[TW_SET_SIZE];
    if (twWindow_TakeDroppedFile(szDropped, sizeof(szDropped))) {
        twLog(TAG, "Dropped: '%s'\n", szDropped);
        twLink_Open(szDropped, 0);
    }
    if (l->iPid) {
        int iExit = 0;
        ReadReport(nullptr, 0, &l->fFraction);
        if (twWindow_PollProgram(l->iPid, &iExit))
            Finish(iExit);
        return;
    }
    // the export waiting ready serves the watched source alone
    if (l->iWaitingPid && (!l->bLive || strcmp(l->szWaitingFor, l->szSource) != 0))
        StopWaiting();
    if (l->bWaitAhead) {
        l->bWaitAhead = 0;
        if (!l->iWaitingPid && l->bLive && l->szSource[0])
            StartWaiting();
    }
    if (twLink_SourceSaved())
        twLink_Open(l->szSource, 1);
}

const char* twLink_GetStatus(void)
{
    if (!twLink_IsExporting())
        return "";
    TwLink* l = pLink;
    char szDone[64];
    if (l->fFraction < 0)
        snprintf(szDone, sizeof(szDone), "%s", twStrings_Get(TW_LINK_STR_READING));
    else
        snprintf(szDone, sizeof(szDone), "%.0f %%", l->fFraction * 100.0f);
    snprintf(l->szStatus, sizeof(l->szStatus), "%s %.60s  %s  (%s)", twStrings_Get(TW_LINK_STR_EXPORTING),
             twCore_BaseName(l->szExporting), szDone, twStrings_Get(TW_LINK_STR_ESC_CANCELS));
    return l->szStatus;
}

// ---------------------------------------------------------------------------------------------
// Life
// ---------------------------------------------------------------------------------------------

int twLink_Init(void)
{
    pLink = (TwLink*)twMem_Malloc(sizeof(TwLink), "pLink");
    if (!pLink) {
        twLogError("twLink_Init", "!malloc : pLink\n");
        return 0;
    }
    for (int i = 0; i < TW_LINK_MAX_SOURCES; i++)
        pLink->aiWatch[i] = -1;
    pLink->iWaitingFeed = -1;
    pLink->bWaitAhead = 1;
    pLink->bLive = 1;
    twLink_LoadRecent();
    twLink_UpdateRecentStates();
    // Temp's model came from the source its side file names: the link goes on where it was
    if (pWorld && pWorld->bLoaded && pWorld->szInfoSource[0] == '/')
        snprintf(pLink->szSource, sizeof(pLink->szSource), "%s", pWorld->szInfoSource);
    twLink_Watch();
    return 1;
}

void twLink_Free(void)
{
    if (!pLink)
        return;
    if (pLink->iPid)
        StopExport();
    StopWaiting();
    for (int i = 0; i < TW_LINK_MAX_SOURCES; i++)
        twWindow_StopWatch(pLink->aiWatch[i]);
    twMem_Free(pLink);
    pLink = nullptr;
}
