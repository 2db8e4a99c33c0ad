// Publishing: a new program made from the installed master, with the open model, its light,
// its gallery and the present settings in a pack behind the bare program. The new program
// is written under a temporary name beside the target and takes the target's name only
// when every byte is on disk: a failed publish never costs the file that was there.
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/writer.h"
#include "interface/gallery.h"
#include "light/light.h"
#include "platform/window.h"
#include "world/world.h"

#define TAG "twEngine_Save"
#define NUM_OWN 15
#define NUM_DISK 9
#define NUM_LIGHT 5
#define MAX_ENTRIES (NUM_OWN + NUM_DISK + TW_NUM_SIDE_FILES + 1 + NUM_LIGHT + 1) // the last: the sun's date and place
#define STR_PUBLISH_WIN_TITLE 115
#define STR_PUBLISH_MAC_TITLE 118

static const char* const s_apstrOwn[NUM_OWN] = {
    "Version.bin", "Cursor.tga", "Check.tga", "Cross.tga", "Cross2.tga", "Rec.tga",  "Pause.tga",    "Gallery.tga",
    "Camera.tga",  "Clip.tga",   "Null.tga",  "Plane.tga", "Flare.tga",  "Flare2.tga", "Exposure8.raw"};
static const char* const s_apstrSky[6] = {"XN", "XP", "YN", "YP", "ZN", "ZP"};
static const char* const s_apstrLight[NUM_LIGHT] = {"LightS.bin", "LightM.bin", "LightInit.bin", "LightEq.bin",
                                                    "LightSort.bin"};
static const char* const s_apstrBundleFiles[3] = {"Contents/Resources/Ambulon.rsrc",
                                                  "Contents/Resources/Ambulon.icns", "Contents/Info.plist"};

// The new program's file and the pack's directory as it grows
struct Pack {
    TwWriter w;
    TwPackEntry aEntries[MAX_ENTRIES];
    int iCount;
};

// A path built from parts: 0 when it doesn't fit, which publishing refuses rather than cut
static int Join(char* pstrOut, size_t uiSize, const char* pstrFormat, ...) __attribute__((format(printf, 3, 4)));
static int Join(char* pstrOut, size_t uiSize, const char* pstrFormat, ...)
{
    va_list args;
    va_start(args, pstrFormat);
    int iLen = vsnprintf(pstrOut, uiSize, pstrFormat, args);
    va_end(args);
    return iLen >= 0 && (size_t)iLen < uiSize;
}

static int64_t Position(Pack* p) { return p->w.pFile ? (int64_t)ftello(p->w.pFile) : -1; }

// One resource: its name, where it starts and its size in the directory, then its bytes;
// the stream is closed in every case
static int AddStream(Pack* p, const char* pstrName, FILE* pIn, int64_t iSize)
{
    int64_t iAt = Position(p);
    if (iAt < 0 || iSize < 0 || iAt + iSize > (int64_t)UINT32_MAX || p->iCount >= MAX_ENTRIES) {
        twLogError(TAG, "!The pack can't hold '%s'\n", pstrName);
        fclose(pIn);
        return 0;
    }
    TwPackEntry* e = &p->aEntries[p->iCount++];
    memset(e, 0, sizeof(*e));
    snprintf(e->szName, sizeof(e->szName), "%s", pstrName);
    e->uiOffset = (uint32_t)iAt;
    e->uiSize = (uint32_t)iSize;
    int bOk = twWriter_CopyStream(&p->w, pIn, iSize, TAG);
    fclose(pIn);
    return bOk;
}

static int64_t FileSize(FILE* pFile)
{
    if (fseeko(pFile, 0, SEEK_END) != 0)
        return -1;
    int64_t iSize = (int64_t)ftello(pFile);
    fseeko(pFile, 0, SEEK_SET);
    return iSize;
}

static int AddFile(Pack* p, const char* pstrPath)
{
    FILE* pIn = fopen(pstrPath, "rb");
    if (!pIn) {
        twLogError(TAG, "!fopen : '%s'\n", pstrPath);
        return 0;
    }
    char szName[TW_PATH_SIZE];
    twCore_ExtractName(pstrPath, szName, 1);
    return AddStream(p, szName, pIn, FileSize(pIn));
}

// A file of the user's Temp folder, under its own name
static int AddTempFile(Pack* p, const char* pstrName)
{
    char szPath[TW_PATH_SIZE];
    return twCore_GetTempPath(pstrName, szPath) && AddFile(p, szPath);
}

static int AddResource(Pack* p, const char* pstrName, const char* pstrFrom)
{
    int iSize = 0;
    FILE* pIn = pstrFrom ? twCore_GetResourceExt(pstrName, pstrFrom, &iSize) : twCore_GetResource(pstrName, &iSize);
    if (!pIn) {
        twLogError(TAG, pstrFrom ? "!twCore_GetResourceExt : '%s'\n" : "!twCore_GetResource : '%s'\n", pstrName);
        return 0;
    }
    return AddStream(p, pstrName, pIn, iSize);
}

// Row 23: the model from wherever it was opened
static int AddModel(Pack* p)
{
    char szModel[TW_PATH_SIZE];
    int iSource = twWorld_GetModelLocation(szModel);
    if (iSource == TW_MODEL_OWN_PACK) {
        twLog(TAG, "Saving out model file from std resource\n");
        return AddResource(p, TW_MODEL_RESOURCE, nullptr);
    }
    if (iSource == TW_MODEL_NAMED_PACK) {
        twLog(TAG, "Saving out model file from ext resource\n");
        return AddResource(p, TW_MODEL_RESOURCE, szModel);
    }
    if (iSource == TW_MODEL_PLAIN_FILE) {
        twLog(TAG, "Saving out model file from local dir\n");
        FILE* pIn = fopen(szModel, "rb");
        if (!pIn) {
            twLogError(TAG, "!fopen : '%s'\n", szModel);
            return 0;
        }
        return AddStream(p, TW_MODEL_RESOURCE, pIn, FileSize(pIn));
    }
    twLogError(TAG, "!twWorld_GetModelLocation\n");
    return 0;
}

// After the model: the side files that go with it, from beside it or from the copy it came
// from, so that the copy's pick tells what the elements are and their values
static int AddSideFiles(Pack* p)
{
    char szModel[TW_PATH_SIZE], szSide[TW_PATH_SIZE], szName[TW_PATH_SIZE];
    int iSource = twWorld_GetModelLocation(szModel);
    for (int i = 0; i < TW_NUM_SIDE_FILES; i++) {
        twWorld_SideFilePath(TW_MODEL_RESOURCE, i, szName);
        if (iSource == TW_MODEL_PLAIN_FILE) {
            twWorld_SideFilePath(szModel, i, szSide);
            FILE* pIn = fopen(szSide, "rb");
            if (pIn && !AddStream(p, szName, pIn, FileSize(pIn)))
                return 0;
        } else {
            const char* pstrFrom = iSource == TW_MODEL_NAMED_PACK ? szModel : nullptr;
            if (twCore_HasResource(szName, pstrFrom) && !AddResource(p, szName, pstrFrom))
                return 0;
        }
    }
    return 1;
}

static int AddGallery(Pack* p)
{
    int iItems = twGallery_GetNumItems() > 0 ? 1 : 0;
    char szPath[TW_PATH_SIZE];
    if (!twCore_GetTempPath(TW_GALLERY_FILE, szPath))
        return 0;
    if (iItems) {
        twLog(TAG, "  Saving gallery\n");
        if (!twGallery_Save(szPath)) {
            twLogError(TAG, "!twGallery_Save\n");
            return 0;
        }
    }
    twLog(TAG, "Attaching %d gallery items from local disk\n", iItems);
    return !iItems || AddFile(p, szPath);
}

static int AddLight(Pack* p)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLightInitialised || !pEngine->bLightLoaded)
        return 1;
    if (!twWorld_SaveLight()) {
        twLogError(TAG, "!twWorld_SaveLight\n");
        return 0;
    }
    int bLocal = w->bLightLocal || !w->bLightExternal;
    twLog(TAG, bLocal ? "Attaching %d light items from local disk\n" : "Attaching %d light items from ext resource\n",
          NUM_LIGHT);
    // the set in Temp is whole once saved: a frame read from a copy was saved with it
    for (int i = 0; i < NUM_LIGHT; i++)
        if (!AddTempFile(p, s_apstrLight[i]))
            return 0;
    return 1;
}

// After the light: the date and place, when the copy's sun is to follow them
static int AddSunPlace(Pack* p)
{
    if (!pEngine->sunPlace.bFollow)
        return 1;
    if (!twEngine_LoadSaveSunPlace(nullptr, 0, 1)) {
        twLogError(TAG, "!twEngine_LoadSaveSunPlace\n");
        return 0;
    }
    twLog(TAG, "Attaching the sun's date and place\n");
    return AddTempFile(p, TW_SUN_PLACE_FILE);
}

// The pack's rows in their order, its directory and its trailer
static int WritePack(Pack* p)
{
    twLog(TAG, "Attaching %d resources from running\n", NUM_OWN);
    for (int i = 0; i < NUM_OWN; i++)
        if (!AddResource(p, s_apstrOwn[i], nullptr))
            return 0;
    twLog(TAG, "Saving out resources from memory\n");
    twLog(TAG, "  Saving settings\n");
    if (!twEngine_LoadSaveSettings(nullptr, 1)) {
        twLogError(TAG, "!twEngine_LoadSaveSettings\n");
        return 0;
    }
    twLog(TAG, "Attaching %d resources from local disk\n", NUM_DISK);
    char szPath[TW_PATH_SIZE + 64];
    for (int i = 0; i < 6; i++) {
        snprintf(szPath, sizeof(szPath), "%sData/Textures/Skybox/%s.tga", twCore_GetDataDir(), s_apstrSky[i]);
        if (!AddFile(p, szPath))
            return 0;
    }
    if (!AddTempFile(p, TW_SETTINGS_FILE) || !AddModel(p) || !AddSideFiles(p))
        return 0;
    snprintf(szPath, sizeof(szPath), "%sData/Strings/Strings.bin", twCore_GetDataDir());
    if (!AddFile(p, szPath) || !AddGallery(p) || !AddLight(p) || !AddSunPlace(p))
        return 0;
    int32_t iCount = p->iCount;
    return twWriter_Write(&p->w, p->aEntries, (int64_t)iCount * (int64_t)sizeof(TwPackEntry)) &&
           twWriter_U32(&p->w, (uint32_t)iCount) && twWriter_Write(&p->w, TW_PACK_MAGIC, 4);
}

// The new program's first bytes, the master's "Master": the Windows master's bare program
// is its file's start, the Mac master's is the entry's bytes. The new program runs as its
// master does.
static int CopyMaster(Pack* p, const char* pstrMaster, int bFromStart, const char* pstrTarget)
{
    int iSize = 0;
    FILE* pMaster = twCore_GetResourceExt("Master", pstrMaster, &iSize);
    if (!pMaster) {
        twLogError(TAG, "!twCore_GetResource : '%s'\n", "Master");
        return 0;
    }
    if (bFromStart && (FileSize(pMaster) < iSize || fseeko(pMaster, 0, SEEK_SET) != 0)) {
        twLogError(TAG, "!The master's 'Master' runs past its end\n");
        fclose(pMaster);
        return 0;
    }
    if (!twWriter_Open(&p->w, pstrTarget)) {
        twLogError(TAG, "!fopen : '%s'\n", pstrTarget);
        fclose(pMaster);
        return 0;
    }
    int bOk = twWriter_CopyStream(&p->w, pMaster, iSize, TAG);
    fclose(pMaster);
    struct stat st;
    fchmod(fileno(p->w.pFile), stat(pstrMaster, &st) == 0 ? (st.st_mode & 0777) : 0755);
    return bOk;
}

// The same file, whether or not it exists yet: its folder resolved, its name kept
static void CanonicalPath(const char* pstrPath, char* pstrOut)
{
    char szFolder[TW_PATH_SIZE], szName[TW_PATH_SIZE], szReal[PATH_MAX];
    twCore_GetDirectory(pstrPath, szFolder);
    twCore_ExtractName(pstrPath, szName, 1);
    if (!realpath(szFolder[0] ? szFolder : ".", szReal) || !Join(pstrOut, TW_PATH_SIZE, "%s/%s", szReal, szName))
        Join(pstrOut, TW_PATH_SIZE, "%s", pstrPath);
}

// The Windows branch: the master's bare program, then the pack; the file keeps the
// master's permissions
static int MakeProgram(Pack* p, const char* pstrTarget)
{
    char szMaster[TW_PATH_SIZE + 32];
    snprintf(szMaster, sizeof(szMaster), "%s%s", twCore_GetDataDir(), TW_PROGRAM_NAME);
    char szA[TW_PATH_SIZE], szB[TW_PATH_SIZE], szSelf[TW_PATH_SIZE];
    CanonicalPath(pstrTarget, szA);
    CanonicalPath(szMaster, szB);
    CanonicalPath(twCore_GetExePath(), szSelf);
    if (!strcmp(szA, szB) || !strcmp(szA, szSelf)) {
        twLogError(TAG, "!The target is the program itself: '%s'\n", pstrTarget);
        return 0;
    }
    twLog(TAG, "Creating the AMB file\n");
    return CopyMaster(p, szMaster, 1, pstrTarget);
}

// The Mac branch: the bundle's folders and files, and its program with the pack behind
// the bare Mac program
static int MakeBundle(Pack* p, const char* pstrBundle)
{
    char szPath[TW_PATH_SIZE + 64], szFrom[TW_PATH_SIZE + 64];
    twLog(TAG, "Creating folders\n");
    twWindow_CreateDirectory(pstrBundle);
    static const char* const apstrFolders[3] = {"Contents", "Contents/Resources", "Contents/MacOS"};
    for (const char* pstrFolder : apstrFolders) {
        Join(szPath, sizeof(szPath), "%s/%s", pstrBundle, pstrFolder);
        twWindow_CreateDirectory(szPath);
    }
    twLog(TAG, "Creating files in folders\n");
    for (const char* pstrFile : s_apstrBundleFiles) {
        Join(szFrom, sizeof(szFrom), "%sAmbulon.app/%s", twCore_GetDataDir(), pstrFile);
        Join(szPath, sizeof(szPath), "%s/%s", pstrBundle, pstrFile);
        FILE* pIn = fopen(szFrom, "rb");
        if (!pIn) {
            twLogError(TAG, "!fopen : '%s'\n", szFrom);
            return 0;
        }
        TwWriter file;
        memset(&file, 0, sizeof(file));
        int bOk = twWriter_Open(&file, szPath) && twWriter_CopyStream(&file, pIn, FileSize(pIn), TAG);
        fclose(pIn);
        if (!bOk || !twWriter_Close(&file)) {
            twWriter_Abandon(&file);
            twLogError(TAG, "!fopen : '%s'\n", szPath);
            return 0;
        }
    }
    twLog(TAG, "Creating the AMB file\n");
    Join(szPath, sizeof(szPath), "%s/%s", pstrBundle, "Contents/MacOS/Ambulon");
    snprintf(szFrom, sizeof(szFrom), "%s%s", twCore_GetDataDir(), TW_MAC_PROGRAM_PATH);
    return CopyMaster(p, szFrom, 0, szPath);
}

// A bundle that this publish made is taken away whole when it fails
static void RemoveBundle(const char* pstrBundle)
{
    char szPath[TW_PATH_SIZE + 64];
    for (const char* pstrFile : s_apstrBundleFiles) {
        Join(szPath, sizeof(szPath), "%s/%s", pstrBundle, pstrFile);
        twWindow_DeleteFile(szPath);
    }
    static const char* const apstrFolders[4] = {"Contents/MacOS", "Contents/Resources", "Contents", ""};
    for (const char* pstrFolder : apstrFolders) {
        Join(szPath, sizeof(szPath), "%s/%s", pstrBundle, pstrFolder);
        rmdir(szPath);
    }
}

int twEngine_Save(int bMac, const char* pstrPath)
{
    if (!pstrPath || !pstrPath[0])
        return 0;
    char szWorking[TW_PATH_SIZE], szFinal[TW_PATH_SIZE], szModel[TW_PATH_SIZE];
    snprintf(szWorking, sizeof(szWorking), "%s", pstrPath);
    snprintf(szFinal, sizeof(szFinal), "%s", pstrPath);
    int iSource = twWorld_GetModelLocation(szModel);
    twLog(TAG, "ModelLoc=%d\n", iSource);
    twLog(TAG, "PathToModel='%s'\n", szModel);
    // over the very file the model is read from: write beside it, and swap at the end
    if (iSource == TW_MODEL_NAMED_PACK && !strncmp(szModel, szWorking, strlen(szWorking))) {
        char szFolder[TW_PATH_SIZE];
        twCore_GetDirectory(szWorking, szFolder);
        if (!Join(szWorking, sizeof(szWorking), "%s%s", szFolder, bMac ? "Dummy.app" : "Dummy.exe")) {
            twLogError(TAG, "!The path is too long: '%s'\n", pstrPath);
            return 0;
        }
        twLog(TAG, "Overwriting\n");
    }
    char szRoot[TW_PATH_SIZE], szName[TW_PATH_SIZE];
    twCore_GetDirectory(szWorking, szRoot);
    twCore_ExtractName(szWorking, szName, 0);
    twLog(TAG, "Path to exe = '%s'\n", szWorking);
    twLog(TAG, "Path to exe folder = '%s'\n", szRoot);
    twLog(TAG, "Exe name = '%s'\n", szName);
    twLog(TAG, "Root = '%s'\n", szRoot);
    // the bundle's deepest file must fit a path too
    char szTarget[TW_PATH_SIZE], szBundle[TW_PATH_SIZE], szDeepest[TW_PATH_SIZE];
    if (!Join(szTarget, sizeof(szTarget), "%s%s.exe", szRoot, szName) ||
        !Join(szBundle, sizeof(szBundle), "%s%s.app", szRoot, szName) ||
        !Join(szDeepest, sizeof(szDeepest), "%s/%s", szBundle, s_apstrBundleFiles[0])) {
        twLogError(TAG, "!The path is too long: '%s'\n", pstrPath);
        return 0;
    }
    struct stat st;
    int bNewBundle = bMac && stat(szBundle, &st) != 0;
    static Pack s_pack; // 15 KB of directory: off the stack
    Pack* p = &s_pack;
    memset(p, 0, sizeof(*p));
    int bOk = bMac ? MakeBundle(p, szBundle) : MakeProgram(p, szTarget);
    bOk = bOk && WritePack(p);
    if (bOk)
        bOk = twWriter_Close(&p->w);
    else
        twWriter_Abandon(&p->w);
    if (!bOk) {
        if (bNewBundle)
            RemoveBundle(szBundle);
        twLogError(TAG, "Failed to generate %s\n", bMac ? "mac app" : "win exe");
        return 0;
    }
    if (strcmp(szWorking, szFinal) != 0) {
        // the swap: the new program takes the place of the one the model was read from
        if (!bMac && rename(szTarget, szFinal) != 0) {
            twLogError(TAG, "!rename : '%s'\n", szFinal);
            twWindow_DeleteFile(szTarget);
            return 0;
        }
    }
    twLog(TAG, "%s successfully generated\n", bMac ? "Mac app" : "Win exe");
    snprintf(pEngine->szModelPath, sizeof(pEngine->szModelPath), "%s", szWorking);
    pEngine->bPublished = 1;
    return 1;
}

int twEngine_PickPublishPath(int bMac)
{
    twWindow_SetDialogMode(1);
    int bChosen = twWindow_GetFileFromDialog(2, pEngine->szPickedPath, bMac ? "app" : "exe",
                                             twStrings_Get(bMac ? STR_PUBLISH_MAC_TITLE : STR_PUBLISH_WIN_TITLE), 0);
    twWindow_SetDialogMode(0);
    return bChosen;
}
