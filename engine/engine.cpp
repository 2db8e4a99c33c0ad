#include "engine/engine.h"

#include <GL/glew.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/model_link.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/gallery.h"
#include "interface/interf.h"
#include "interface/layers.h"
#include "interface/measure.h"
#include "interface/section.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/input.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "render/skybox.h"
#include "world/world.h"

// The product version, in the two words of a Windows program's version record; the build
// sets them, and these stand in for a build that doesn't
#ifndef AMB_VERSION_MS
#define AMB_VERSION_MS 0x00020000u
#endif
#ifndef AMB_VERSION_LS
#define AMB_VERSION_LS 0x00000001u
#endif

#define STARTUP_TAG "twEngine_Startup"
#define SHUTDOWN_TAG "twEngine_Shutdown"
#define FEET_PER_METRE 3.28084f
#define STEREO_SHIFT 30
#define FB_TEX_SIZE 8
#define LAYER_PAGE_SIZE 12
#define HINT_SECONDS 26.0f
#define PROGRESS_FADE_STEP (1.0 / 60.0) // seconds between the fade-in's pictures while a loader reports
#define SHADOW_MESSAGE_SECONDS 4.0f // the note that this machine can't draw shadows
#define PENDING_PUBLISH_STEP 4
#define FIRST_KEY_STEP 1e-4f // seconds: a gallery update that only places the camera

TwEngine* pEngine = nullptr;

// A failed step's tag for the caller, and its line in the log, the only trace a user's
// machine keeps of a start that failed
static int Fail(char* pstrFailTag, const char* pstrTag)
{
    snprintf(pstrFailTag, TW_FAIL_TAG_SIZE, "%s", pstrTag);
    twLogError(STARTUP_TAG, "%s : the start stops\n", pstrTag);
    return 0;
}

static void CopyText(char* pstrOut, const char* pstrIn)
{
    snprintf(pstrOut, TW_TEXT_SIZE, "%s", pstrIn);
}

static void FreeCamera(TwCamera** ppCamera)
{
    if (*ppCamera)
        twMem_Free(*ppCamera);
    *ppCamera = nullptr;
}

int twEngine_Main(const char* pstrExePath, const char* pstrOpen)
{
    char szFailTag[TW_FAIL_TAG_SIZE] = "";
    // the failure tag stays in its buffer: only the log tells about a failed start
    if (twEngine_Startup(pstrExePath, szFailTag)) {
        if (pstrOpen && !pLink)
            twLog("twEngine_Main", "A copy opens no other model: '%s' is passed over\n", pstrOpen);
        else if (pstrOpen)
            twLink_Open(pstrOpen, 0);
        twEngine_Run();
    }
    twEngine_Shutdown();
    return 0;
}

int twEngine_Startup(const char* pstrExePath, char* pstrFailTag)
{
    if (!twTimer_Init())
        return Fail(pstrFailTag, "!InitTimer");
    if (!twEngine_InitCore(pstrExePath))
        return Fail(pstrFailTag, "!InitCore");
    twLog(STARTUP_TAG, "Initializing memory manager\n");
    if (!twMem_Init(0))
        return Fail(pstrFailTag, "!InitMem");
    twLog(STARTUP_TAG, "Initializing window\n");
    if (!twEngine_InitWindow())
        return Fail(pstrFailTag, "!InitWindow");
    twLog(STARTUP_TAG, "Initializing input\n");
    if (!twEngine_InitInput())
        return Fail(pstrFailTag, "!InitInput");
    twLog(STARTUP_TAG, "Initializing opengl\n");
    if (!twEngine_InitOpenGL())
        return Fail(pstrFailTag, "!InitOpengl");
    twLog(STARTUP_TAG, "Initializing strings\n");
    if (!twEngine_InitStrings())
        return Fail(pstrFailTag, "!InitStrings");
    twLog(STARTUP_TAG, "Initializing engine\n");
    if (!twEngine_InitEngine())
        return Fail(pstrFailTag, "!InitEngine");
    twLog(STARTUP_TAG, "Initializing devmode\n");
    if (!twEngine_InitDevMode())
        return Fail(pstrFailTag, "!InitDev");
    twLog(STARTUP_TAG, "Initializing camera\n");
    if (!twEngine_InitCamera())
        return Fail(pstrFailTag, "!InitCamera");
    pEngine->bStarted = 1;
    twLog(STARTUP_TAG, "Initializing layers\n");
    if (!twEngine_InitLayers())
        return Fail(pstrFailTag, "!InitLayers");
    twLog(STARTUP_TAG, "Initializing world\n");
    if (!twEngine_InitWorld())
        return Fail(pstrFailTag, "!InitWorld");
    twLog(STARTUP_TAG, "Initializing gallery\n");
    if (!twEngine_InitGallery())
        return Fail(pstrFailTag, "!InitGallery");
    twLog(STARTUP_TAG, "Initializing skybox\n");
    if (!twEngine_InitSkybox())
        return Fail(pstrFailTag, "!InitSkybox");
    twLog(STARTUP_TAG, "Initializing measure tool\n");
    if (!twMeasure_Init())
        return Fail(pstrFailTag, "!InitMeasure");
    twLog(STARTUP_TAG, "Initializing section tool\n");
    if (!twSection_Init())
        return Fail(pstrFailTag, "!InitSection");
    // a copy opens no other model: it has no exporter and no folder of its own
    if (!pEngine->bStandAlone) {
        twLog(STARTUP_TAG, "Initializing model link\n");
        if (!twLink_Init())
            return Fail(pstrFailTag, "!InitLink");
    }
    twLog(STARTUP_TAG, "Initializing interface\n");
    if (!twEngine_InitInterf())
        return Fail(pstrFailTag, "!InitInterf");
    twLog(STARTUP_TAG, "Entering level\n");
    twEngine_EnterLevel();
    return 1;
}

int twEngine_Run(void)
{
    twLog("twEngine_Run", "---Entering main loop---\n");
    while (!pEngine->bQuit) {
        twEngine_Update();
        // "Draw occluders" copies the ID picture for the developer panel to show
        twWorld_VisibilitySweep(pEngine->bDrawFlare, pCam,
                                pEngine->bSkyFollowsSun ? (float)pEngine->iSunAzimuthWanted : 0, pEngine->bUseVbo,
                                pEngine->bDrawOccluders);
        twEngine_Draw();
        twEngine_HandleInput();
    }
    twLog("twEngine_Run", "---Exiting main loop---\n");
    return 1;
}

int twEngine_Shutdown(void)
{
    // a video cut short by the end leaves nothing half-written
    if (pCam)
        twEngine_StopVideo();
    if (pLink) {
        twLog(SHUTDOWN_TAG, "Shutting down model link\n");
        twLink_Free();
    }
    twLog(SHUTDOWN_TAG, "Shutting down interface\n");
    twInterf_Free();
    twLog(SHUTDOWN_TAG, "Shutting down section tool\n");
    twSection_Free();
    twLog(SHUTDOWN_TAG, "Shutting down measure tool\n");
    twMeasure_Free();
    twLog(SHUTDOWN_TAG, "Shutting down skybox\n");
    twSkybox_Free();
    twLog(SHUTDOWN_TAG, "Shutting down gallery\n");
    twGallery_Shutdown();
    twLog(SHUTDOWN_TAG, "Shutting down world\n");
    twWorld_Shutdown();
    // the layers' and the camera's lines have always stood under the start-up heading, and
    // readers of the log find them there
    twLog(STARTUP_TAG, "Shutting down layers\n");
    twLayers_Free();
    if (pEngine) {
        if (pEngine->bStarted && !pEngine->bStandAlone && pCam) {
            twLog("twEngine_Save", "  Saving settings\n");
            if (!twEngine_LoadSaveSettings(nullptr, 1))
                twLogError(SHUTDOWN_TAG, "!twEngine_LoadSaveSettings\n");
            if (!twEngine_LoadSaveSunPlace(nullptr, 0, 1))
                twLogError(SHUTDOWN_TAG, "!twEngine_LoadSaveSunPlace\n");
            if (!twEngine_LoadSavePicture(1))
                twLogError(SHUTDOWN_TAG, "!twEngine_LoadSavePicture\n");
        }
        twOgl_ReleaseTexture(&pEngine->pPlaneTexture);
        twOgl_ReleaseTexture(&pEngine->pFbTex);
        twOgl_ReleaseTexture(&pEngine->pRecTexture);
        twOgl_ReleaseTexture(&pEngine->pPauseTexture);
    }
    twLog(STARTUP_TAG, "Shutting down camera\n");
    FreeCamera(&pCam);
    FreeCamera(&pCam2);
    FreeCamera(&pSunCam);
    twLog(SHUTDOWN_TAG, "Shutting down dev mode\n");
    twDev_Free();
    twLog(SHUTDOWN_TAG, "Shutting down engine\n");
    if (pEngine) {
        twOgl_ReleaseTexture(&pEngine->pGalleryTexture);
        // the eye buffers go with the engine that made them
        if (pEngine->pFboL)
            twOgl_FreeFbo(pEngine->pFboL);
        if (pEngine->pFboR)
            twOgl_FreeFbo(pEngine->pFboR);
        if (pEngine->pWindowSamples)
            twOgl_FreeFbo(pEngine->pWindowSamples);
        // a model that was published is not kept for the next start
        char szPath[TW_PATH_SIZE];
        if (pEngine->bStarted && pEngine->bPublished && twCore_GetUserDir() &&
            twCore_GetTempPath(TW_MODEL_RESOURCE, szPath) && twCore_FileExists(szPath))
            twWindow_DeleteFile(szPath);
        twMem_Free(pEngine);
        pEngine = nullptr;
    }
    twLog(SHUTDOWN_TAG, "Shutting down strings\n");
    twStrings_Shutdown();
    twLog(SHUTDOWN_TAG, "Shutting down opengl\n");
    twOgl_Free();
    twLog(SHUTDOWN_TAG, "Shutting down input\n");
    twInput_Free();
    twLog(SHUTDOWN_TAG, "Shutting down window\n");
    twWindow_Free();
    twLog(SHUTDOWN_TAG, "Shutting down memory manager\n");
    twMem_Shutdown();
    twLog(SHUTDOWN_TAG, "Shutting down core\n");
    twCore_Shutdown();
    twTimer_Shutdown();
    return 1;
}

int twEngine_InitCore(const char* pstrExePath)
{
    if (!twCore_Init(TW_APP_NAME, pstrExePath) || !pCore->szProgramDir[0])
        return 0;
    // the one place that decides whether this program is a published copy
    int bStandAlone = twCore_HasResource(TW_MODEL_RESOURCE, nullptr);
    twCore_SetStandAlone(bStandAlone);
    char szDataDir[TW_PATH_SIZE];
    snprintf(szDataDir, sizeof(szDataDir), "%s", pCore->szProgramDir);
    char szUserDir[TW_PATH_SIZE] = "";
    char szLogFile[TW_PATH_SIZE + 32];
    if (bStandAlone) {
        snprintf(szLogFile, sizeof(szLogFile), "%s%s", szDataDir, TW_LOG_FILE_NAME);
    } else {
        // an application copy must carry exactly the program's name
        char szProgram[TW_PATH_SIZE + 32];
        snprintf(szProgram, sizeof(szProgram), "%s%s", szDataDir, TW_PROGRAM_NAME);
        if (!twCore_FileExists(szProgram))
            return 0;
        char szDocuments[TW_PATH_SIZE];
        if (!twWindow_GetDocumentsFolder(szDocuments))
            return 0;
        // the user directory and the names under it must fit the path texts
        if (snprintf(szUserDir, sizeof(szUserDir), "%s/Ambulon/", szDocuments) >= TW_PATH_SIZE - 32)
            return 0;
        char szFolder[TW_PATH_SIZE + 32];
        twWindow_CreateDirectory(szUserDir);
        snprintf(szFolder, sizeof(szFolder), "%sTemp", szUserDir);
        twWindow_CreateDirectory(szFolder);
        snprintf(szFolder, sizeof(szFolder), "%sScreenshots", szUserDir);
        twWindow_CreateDirectory(szFolder);
        snprintf(szLogFile, sizeof(szLogFile), "%s%s", szUserDir, TW_LOG_FILE_NAME);
    }
    twCore_SetLogFile(szLogFile);
    twCore_SetDataDir(szDataDir);
    twCore_SetUserDir(szUserDir);
    // the first log lines of a run: they decide whether logging is on
    twLog("twEngine_InitCore", "Program directory is '%s'\n", pCore->szProgramDir);
    twLog("twEngine_InitCore", "Data directory is '%s'\n", pCore->szDataDir);
    twLog("twEngine_InitCore", "User directory is '%s'\n", pCore->szUserDir);
    return 1;
}

int twEngine_InitWindow(void)
{
    // the stencil fills the cut's faces
    if (!twWindow_Init() || !twWindow_CreateGLWindow(0, 0, 1, 0))
        return 0;
    twWindow_SetTitle(twCore_GetAppName());
    twWindow_Show();
    return 1;
}

int twEngine_InitInput(void)
{
    if (!twInput_Init(1, twWindow_GetHwnd(), twWindow_GetInstance()))
        return 0;
    twWindow_SetOnFocusGained1(twInput_AcquireKeyboard);
    twWindow_SetOnFocusGained2(twInput_AcquireMouse);
    return 1;
}

int twEngine_InitOpenGL(void)
{
    if (!twOgl_Init(twWindow_GetWidth(), twWindow_GetHeight(), twWindow_GetVideoMemorySize()))
        return 0;
    // the frame rate isn't tied to the display
    twOgl_SetSwapInterval(0);
    twOgl_SetTextMaxWidth(720);
    glClearColor(0.9f, 0.9f, 0.9f, 0.0f);
    return 1;
}

int twEngine_InitStrings(void)
{
    if (!twStrings_Init()) {
        twLogError("InitStrings", "!twStrings_Init\n");
        return 0;
    }
    if (!twStrings_ImportBin(nullptr)) {
        twLogError("twEngine_InitStrings", "!twStrings_ImportBin\n");
        return 0;
    }
    if (!twOgl_InitFonts(twWindow_GetHdc(), twStrings_GetCharset(), twStrings_GetFontFace(),
                         twStrings_GetFontHeight(), twStrings_GetTextYOffset())) {
        twLogError("twOgl_Init", "!InitFont\n");
        return 0;
    }
    twWindow_SetTitle(twStrings_Get(TW_STR_APP_NAME));
    return 1;
}

int twEngine_InitEngine(void)
{
    const char* pstrTag = "twEngine_InitEngine";
    pEngine = (TwEngine*)twMem_Malloc(sizeof(TwEngine), "pEngine");
    if (!pEngine) {
        twLogError(pstrTag, "!malloc : pEngine\n");
        return 0;
    }
    TwEngine* e = pEngine;
    e->iNumStereoModes = 3;
    e->bDrawFlare = 1;
    e->fCollisionSize = 0.25f;
    e->fLightGain = 1.0f;
    e->iInterfHeight = 230;
    e->fInterfSlideSpeed = 4.0f;
    e->bRadiosity = 1;
    e->bUseVbo = twOgl_HasVbo();
    e->bClearColor = 1;
    e->bShowHints = 1;
    e->fIdleLimit = 30.0f;
    e->fLightLevelWanted = 0.6f;
    e->iRenderMode = -1;
    e->iBackground = -1;
    e->iBackgroundWanted = 4;
    e->iUnits = -1;
    e->fUnitScale = -1.0f;
    e->fScaleDegrees = -1.0f;
    // a summer afternoon at Greenwich until the user gives his own
    e->sunPlace = {0, 2026, 6, 21, 15, 0, 51.48f, 0.0f, 1.0f, 0.0f};
    e->iSunPlaceAltitude = -1;
    e->iSunAltitudeWanted = 45;
    e->iSunAzimuthWanted = 45;
    e->fSunShadowWanted = 0.26f;
    e->vClearColor[0] = e->vClearColor[1] = e->vClearColor[2] = 1.0f;
    e->bSoftShadows = 1;
    e->bSkyFollowsSun = 1;
    e->bSmoothEdges = 1;
    e->iShotFormat = TW_SHOT_PNG;
    e->bInstances = e->bOcclusionCulling = e->bDrawSmooth = e->bTransparency = 1;
    e->iTrackedElement = e->iPickedElement = -1;
    snprintf(e->szModelInfo, sizeof(e->szModelInfo), "%s", twStrings_Get(TW_STR_NO_MODEL));
    snprintf(e->szLegalLine, sizeof(e->szLegalLine), "%s", twStrings_Get(TW_STR_LEGAL_LINE));

    // the product version: major in the high word of the first half, then the second half whole
    snprintf(e->szVersion, sizeof(e->szVersion), "%u.%u", AMB_VERSION_MS >> 16, AMB_VERSION_LS);
    twLog(pstrTag, "Version is %s\n", e->szVersion);
    // the information page names the graphics the pictures come from
    const char* pstrRenderer = (const char*)glGetString(GL_RENDERER);
    snprintf(e->szEngineInfo, sizeof(e->szEngineInfo), "OpenGL %s", pstrRenderer ? pstrRenderer : "");
    // a processor that draws the pictures itself pays about two and a half frames for a
    // smooth one: there the edges start sharp, and the View page offers them smooth
    static const char* const apstrSoftware[] = {"llvmpipe", "softpipe", "Software Rasterizer", "SWR", "swrast"};
    for (const char* pstrSoftware : apstrSoftware)
        if (pstrRenderer && strstr(pstrRenderer, pstrSoftware))
            e->bSmoothEdges = 0;

    if (twCore_IsStandAlone()) {
        twLog(pstrTag, "Running a stand alone .exe\n");
        e->bStandAlone = 1;
    } else {
        twLog(pstrTag, "Launching application only\n");
        e->bStandAlone = 0;
        char szPath[TW_PATH_SIZE + 64];
        snprintf(szPath, sizeof(szPath), "%s%s", twCore_GetDataDir(), TW_PROGRAM_NAME);
        if (twCore_FileExists(szPath))
            e->uiHostFiles |= TW_HOST_WINDOWS;
        snprintf(szPath, sizeof(szPath), "%s%s", twCore_GetDataDir(), TW_MAC_PROGRAM_PATH);
        if (twCore_FileExists(szPath))
            e->uiHostFiles |= TW_HOST_MAC;
    }

    // list texts are copied into the record: the interface holds pointers into it
    static const int aiBackgrounds[TW_NUM_BACKGROUNDS] = {TW_STR_BACKGROUND_GRADIENT, TW_STR_BACKGROUND_BLACK,
                                                          TW_STR_BACKGROUND_BLACK + 1, TW_STR_BACKGROUND_BLACK + 2,
                                                          TW_STR_BACKGROUND_BLACK + 3};
    for (int i = 0; i < TW_NUM_BACKGROUNDS; i++) {
        CopyText(e->aszBackgrounds[i], twStrings_Get(aiBackgrounds[i]));
        e->apszBackgrounds[i] = e->aszBackgrounds[i];
    }
    CopyText(e->aszStereoModes[0], twStrings_Get(TW_STR_OFF));
    CopyText(e->aszStereoModes[1], twStrings_Get(TW_STR_STEREO_RED_CYAN));
    CopyText(e->aszStereoModes[2], twStrings_Get(TW_STR_STEREO_SIDE_BY_SIDE));
    CopyText(e->aszStereoModes[3], "Quad buffered");
    CopyText(e->aszStereoModes[4], twStrings_Get(TW_STR_STEREO_INTERLACED));
    for (int i = 0; i < TW_NUM_STEREO_NAMES; i++)
        e->apszStereoModes[i] = e->aszStereoModes[i];
    for (int i = 0; i < 2; i++) {
        CopyText(e->aszNoYes[i], twStrings_Get(TW_STR_OFF + i));
        e->apszNoYes[i] = e->aszNoYes[i];
        CopyText(e->aszLookMode[i], twStrings_Get(TW_STR_LOOK_NORMAL + i));
        e->apszLookMode[i] = e->aszLookMode[i];
    }

    e->fScale1 = 1.0f;
    e->fScale10 = 10.0f;
    e->fScale100 = 100.0f;
    e->fScale200 = 200.0f;
    e->fScale1000 = 1000.0f;
    e->fUnitScale = -1.0f;

    e->pFbTex = twOgl_CreateTexture("FrameBuffer-8x8", FB_TEX_SIZE, FB_TEX_SIZE, GL_LUMINANCE, 0, 0, 0, GL_LUMINANCE,
                                    nullptr);
    if (!e->pFbTex) {
        twLogError(pstrTag, "!twOgl_CreateTexture : pFbTex\n");
        return 0;
    }
    e->pPlaneTexture = twOgl_LoadResourceTexture("Plane.tga", "'Plane.tga'", "pPlaneTexture", pstrTag);
    if (!e->pPlaneTexture)
        return 0;
    e->pRecTexture = twOgl_LoadResourceTexture("Rec.tga", "'Rec.tga'", "pRecTexture", pstrTag);
    if (!e->pRecTexture)
        return 0;
    e->pPauseTexture = twOgl_LoadResourceTexture("Pause.tga", "'Pause.tga'", "pPauseTexture", pstrTag);
    if (!e->pPauseTexture)
        return 0;

    // quad-buffered stereo draws each eye into a buffer a little wider than the window
    e->bStereoBuffers = 0;
    e->iNumStereoModes = 3;
    if (twWindow_IsQuadBuffered() && twOgl_HasFbo() && twOgl_HasNpot()) {
        e->iStereoShift = STEREO_SHIFT;
        e->iStereoExtraWidth = e->iStereoShift;
        int iWidth = twWindow_GetWidth() + e->iStereoExtraWidth;
        e->pFboL = twOgl_CreateFbo("pEngine->pFboL", iWidth, twWindow_GetHeight(), 1, 1);
        if (e->pFboL)
            e->pFboR = twOgl_CreateFbo("pEngine->pFboR", iWidth, twWindow_GetHeight(), 1, 1);
        if (e->pFboL && e->pFboR) {
            e->bStereoBuffers = 1;
            e->iNumStereoModes = 4;
        }
    }
    return 1;
}

int twEngine_InitCamera(void)
{
    const char* pstrTag = "twEngine_InitCamera";
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    pCam = (TwCamera*)twMem_Malloc(sizeof(TwCamera), "pCam");
    if (!pCam) {
        twLogError(pstrTag, "!malloc : pCam\n");
        return 0;
    }
    twCamera_Init(pCam);
    twCamera_SetAspectFromWindow(pCam, iWidth, iHeight);
    snprintf(pCam->szName, sizeof(pCam->szName), "cam");
    pCam->vPos[0] = -4.0f;
    pCam->vPos[1] = 1.9f;
    pCam->vPos[2] = 4.0f;
    pCam->fPitch = 0;
    pCam->fYaw = 315.0f;
    pCam->fRoll = 0;
    pCam->fEyeHeight = 1.6f;
    pCam2 = (TwCamera*)twMem_Malloc(sizeof(TwCamera), "pCam2");
    if (!pCam2) {
        twLogError(pstrTag, "!malloc : pCam2\n");
        return 0;
    }
    memcpy(pCam2, pCam, sizeof(TwCamera));
    pSunCam = (TwCamera*)twMem_Malloc(sizeof(TwCamera), "pSunCam");
    if (!pSunCam) {
        twLogError(pstrTag, "!malloc : pSunCam\n");
        return 0;
    }
    twCamera_Init(pSunCam);
    twCamera_SetAspectFromWindow(pSunCam, iWidth, iHeight);
    snprintf(pSunCam->szName, sizeof(pSunCam->szName), "suncam");
    pSunCam->bSunCamera = 1;
    return 1;
}

int twEngine_InitLayers(void)
{
    if (!twLayers_Init(LAYER_PAGE_SIZE)) {
        twLogError("twEngine_InitLayers", "!twLayers_Init\n");
        return 0;
    }
    return 1;
}

// A light solution this viewer computed before, kept in Temp, for the model it opened
// again: it loads when its frame fits the model, and is passed over with a line when not
static int LoadTempLight(const char* pstrTag)
{
    char szPath[TW_PATH_SIZE];
    // only a whole set loads: a kill while the files were being replaced is settled first
    if (!twWorld_SettleLightSet() || !twCore_GetTempPath(TW_LIGHT_RESOURCE, szPath) || !twCore_FileExists(szPath))
        return 0;
    if (!twWorld_InitLight(0, nullptr) || !twWorld_LoadLight(1, nullptr)) {
        twWorld_FreeRad();
        twLogError(pstrTag, "The light in Temp doesn't fit this model: it is passed over\n");
        return -1;
    }
    pEngine->bLightLoaded = 1;
    return 1;
}

int twEngine_ReloadLight(const char* pstrSetAsideIn)
{
    TwEngine* e = pEngine;
    int iLight = 0;
    e->bLightLoaded = 0;
    if (pWorld->bLoaded && e->bRadiosity && !e->bNoShaders)
        iLight = LoadTempLight("twEngine_ReloadLight");
    if (iLight < 0 && pstrSetAsideIn && twWorld_SetLightAside(pstrSetAsideIn) == 0)
        iLight = 0;
    // the lit mode gives way by itself where there is no light
    if (iLight > 0)
        e->iRenderModeWanted = twEngine_RenderModeIndex(TW_MODE_LIT);
    twEngine_ShowLightState(0);
    return iLight;
}

// The light a copy carries, after its model (pstrFrom the copy opened, null the own pack). A
// copy without light runs unlit; so does one whose light doesn't load, with a message: a
// client who can't read the log still gets the building, and the job can start afresh.
void twEngine_LoadCopyLight(const char* pstrFrom, const char* pstrTag)
{
    TwEngine* e = pEngine;
    e->bLightLoaded = 0;
    if (!e->bRadiosity || !twCore_HasResource(TW_LIGHT_RESOURCE, pstrFrom))
        return;
    if (!twWorld_InitLight(0, pstrFrom))
        twLogError("twWorld_LoadLight", "!twWorld_InitLight\n");
    else if (!twWorld_LoadLight(0, pstrFrom))
        twLogError(pstrTag, "!twWorld_LoadLight\n");
    else {
        e->bLightLoaded = 1;
        e->iRenderModeWanted = TW_MODE_LIT;
        return;
    }
    twLogError(pstrTag, "The light of '%s' is left out: the model runs unlit\n", pstrFrom ? pstrFrom : "this copy");
    twWorld_FreeRad();
    twEngine_ShowMessage(TW_MESSAGE_FILE_ERROR, TW_MESSAGE_SECONDS, nullptr);
}

// A copy's date and place, from its own pack or the one opened; a copy without them keeps
// the sun its settings give
static void LoadSunPlace(const char* pstrFrom)
{
    int iSize = 0;
    FILE* pFile = pstrFrom ? twCore_GetResourceExt(TW_SUN_PLACE_FILE, pstrFrom, &iSize)
                           : twCore_GetResource(TW_SUN_PLACE_FILE, &iSize);
    if (pFile) {
        twEngine_LoadSaveSunPlace(pFile, iSize, 0);
        fclose(pFile);
    } else {
        pEngine->sunPlace.bFollow = 0;
    }
    twEngine_ApplySunPlace();
}

int twEngine_InitWorld(void)
{
    TwEngine* e = pEngine;
    if (!twWorld_Init(twWindow_GetWidth(), twWindow_GetHeight(), e->bUseVbo))
        return 0;
    int bShaders = twOgl_HasVertexPrograms() && twOgl_HasFragmentPrograms();
    if (bShaders && !twWorld_InitShaders()) {
        twLogError("twWorld_Init", "!twWorld_InitShaders\n");
        bShaders = 0;
    }
    // without programs the engine draws in its fixed-function modes
    twEngine_InitAvailableRenderModes(!bShaders);
    e->bNoShaders = !bShaders;
    twEngine_ShowProgress(nullptr, nullptr, 0.0f);
    if (twCore_IsStandAlone()) {
        if (!twWorld_LoadModel(twEngine_ShowProgress, nullptr, 0, pCam, e->szModelInfo, &e->iSunAltitudeWanted,
                               &e->iSunAzimuthWanted, e->bUseVbo, nullptr)) {
            twLogError("twWorld_Init", "!twWorld_LoadModel\n");
            return 0;
        }
        twEngine_LoadCopyLight(nullptr, "twWorld_Init");
        twWorld_LoadPackSideFiles(nullptr, TW_MODEL_RESOURCE);
        FILE* pSettings = twCore_GetResource(TW_SETTINGS_FILE, nullptr);
        if (pSettings) {
            twEngine_LoadSaveSettings(pSettings, 0);
            fclose(pSettings);
        }
        LoadSunPlace(nullptr);
        twEngine_ApplySettings();
        e->fHintTime = e->bShowHints ? HINT_SECONDS : 0;
        return 1;
    }
    // no settings of the user's yet, or bad ones: the engine's defaults stand
    twEngine_LoadSaveSettings(nullptr, 0);
    twEngine_LoadSaveSunPlace(nullptr, 0, 0);
    twEngine_LoadSavePicture(0);
    char szPath[TW_PATH_SIZE];
    if (twCore_GetTempPath(TW_MODEL_RESOURCE, szPath) && twCore_FileExists(szPath)) {
        if (!twWorld_LoadModel(twEngine_ShowProgress, szPath, 0, pCam, e->szModelInfo, &e->iSunAltitudeWanted,
                               &e->iSunAzimuthWanted, e->bUseVbo, nullptr)) {
            // a bad model must neither stop the program nor stay to fail the next start
            twWindow_DeleteFile(szPath);
            twLogError("twEngine_InitWorld", "!twWorld_LoadModel\n");
            return 1;
        }
        snprintf(e->szModelPath, sizeof(e->szModelPath), "%s", szPath);
        // what each element is, where the exporter said so; the model it came from is shown
        if (twWorld_LoadElementInfo(szPath) && pWorld->szInfoSource[0]) {
            // of several, the first
            int iFirst = (int)strcspn(pWorld->szInfoSource, "\t");
            snprintf(e->szModelPath, sizeof(e->szModelPath), "%.*s", iFirst < TW_PATH_SIZE ? iFirst : TW_PATH_SIZE - 1,
                     pWorld->szInfoSource);
        }
    }
    // a place in the list: the head lamp while all six modes are offered
    e->iRenderModeWanted = TW_MODE_LAMP;
    if (pWorld->bLoaded && e->bRadiosity && !e->bNoShaders && LoadTempLight("twEngine_InitWorld") > 0)
        e->iRenderModeWanted = TW_MODE_LIT;
    // a sun that follows the date wins over the model's
    twEngine_ApplySunPlace();
    twEngine_ApplySettings();
    return 1;
}

// The sun fields of a kept angle come back only when the gallery's sun switch asks for
// them, and crossed: the kept azimuth as the altitude and the other way round, as
// galleries always have
static int32_t* SunPointer(int bAltitude)
{
    TwEngine* e = pEngine;
    if (!e->bAngleWithSun)
        return nullptr;
    return bAltitude ? &e->iSunAltitudeWanted : &e->iSunAzimuthWanted;
}

void twEngine_ApplyFirstAngle(void)
{
    if (twGallery_WarpToFirstAngle(pCam, SunPointer(1), SunPointer(0)) && pEngine->bAngleWithSun)
        pEngine->iSunUpdate = 1;
}

void twEngine_WarpToSelected(void)
{
    TwEngine* e = pEngine;
    int bAngle = pGallery->pSelected && pGallery->pSelected->iType == TW_GALLERY_ANGLE;
    if (twGallery_WarpToSelected(pCam, SunPointer(1), SunPointer(0)) && bAngle && e->bAngleWithSun)
        e->iSunUpdate = 1;
    // a walker who kept coasting would leave the kept view at once
    pCam->fForward = pCam->fStrafe = 0;
    e->fIdleTime = 0;
}

// The full program keeps the user's gallery in Temp between runs, written at every change
// the user makes, and only then: a copy opened as the model brings its own gallery, which
// must not take the place of the user's unasked. An emptied gallery takes its file with it,
// so deleted views don't come back
int twEngine_SaveGallery(void)
{
    if (!pGallery || pEngine->bStandAlone || !twCore_GetUserDir() || !twCore_GetUserDir()[0])
        return 1;
    char szPath[TW_PATH_SIZE];
    if (!twCore_GetTempPath(TW_GALLERY_FILE, szPath))
        return 0;
    if (twGallery_GetNumItems() == 0) {
        twWindow_DeleteFile(szPath);
        return 1;
    }
    if (!twGallery_Save(szPath)) {
        twLogError("twEngine_SaveGallery", "!twGallery_Save\n");
        return 0;
    }
    return 1;
}

int twEngine_InitGallery(void)
{
    const char* pstrTag = "twEngine_InitGallery";
    TwEngine* e = pEngine;
    if (!twGallery_Init(TW_GALLERY_MAX_KEYS, TW_GALLERY_KEYS_PER_SECOND, pCam->vPos, &pCam->fPitch, &pCam->fOrthoPitch,
                        pCam->vOrthoCentre, &pCam->fOrthoHalfWidth, &pCam->bTopView))
        return 0;
    int iSize = 0;
    FILE* pFile = twCore_GetResource(TW_GALLERY_FILE, &iSize);
    int bLocal = !pFile && !e->bStandAlone;
    if (bLocal) {
        // the user's own gallery of the last run
        char szPath[TW_PATH_SIZE];
        pFile = twCore_GetTempPath(TW_GALLERY_FILE, szPath) ? fopen(szPath, "rb") : nullptr;
        iSize = -1;
        if (pFile)
            twLog(pstrTag, "Loading gallery from local file\n");
    }
    if (!pFile)
        return 1;
    int bLoaded = twGallery_Load(pFile, iSize);
    fclose(pFile);
    if (!bLoaded) {
        twLogError(pstrTag, "!twGallery_Load\n");
        return 1;
    }
    // a copy shows its gallery at start; the full program keeps the model's own view
    if (bLocal)
        return 1;
    if (e->bPlayOnStart && twGallery_PlayFromTop()) {
        // a step too small to move: the camera takes the first key
        twGallery_Update(FIRST_KEY_STEP);
        return 1;
    }
    twEngine_ApplyFirstAngle();
    return 1;
}

int twEngine_Load(const char* pstrPath)
{
    TwEngine* e = pEngine;
    char szPath[TW_PATH_SIZE];
    if (!pstrPath) {
        twWindow_SetDialogMode(1);
        int bChosen = twWindow_GetFileFromDialog(1, szPath, "exe", twStrings_Get(TW_STR_PROGRAM_FILES), 0);
        twWindow_SetDialogMode(0);
        if (!bChosen)
            return 0;
    } else {
        snprintf(szPath, sizeof(szPath), "%s", pstrPath);
    }
    // a file that isn't a copy with a model is refused before the open model is let go
    if (!twCore_HasResource(TW_MODEL_RESOURCE, szPath)) {
        twLogError("twEngine_Load", "!No model in '%s': the open model stays\n", szPath);
        twEngine_ShowMessage(TW_MESSAGE_FILE_ERROR, TW_MESSAGE_SECONDS, nullptr);
        return 0;
    }
    int iStatus = 0;
    if (!twWorld_LoadModel(twEngine_ShowProgress, szPath, 1, pCam, e->szModelInfo, &e->iSunAltitudeWanted,
                           &e->iSunAzimuthWanted, e->bUseVbo, &iStatus)) {
        twLogError("twEngine_Load", "!twWorld_LoadModel\n");
        twEngine_ShowMessage(iStatus, TW_MESSAGE_SECONDS, nullptr);
        return 0;
    }
    twEngine_ModelIn(0);
    twWorld_LoadPackSideFiles(szPath, TW_MODEL_RESOURCE);
    e->iRenderModeWanted = TW_MODE_LAMP;
    twEngine_LoadCopyLight(szPath, "twEngine_Load");
    twEngine_ShowLightState(1);
    int iSize = 0;
    FILE* pGalleryFile = twCore_GetResourceExt(TW_GALLERY_FILE, szPath, &iSize);
    if (!pGalleryFile) {
        twGallery_Free();
    } else {
        twGallery_StopPlaying();
        // through the error call on purpose: the log has always shown these two there
        twLogError("twEngine_Load", "Freeing previous gallery...\n");
        twGallery_Free();
        twLogError("twEngine_Load", "Loading gallery...\n");
        if (twGallery_Load(pGalleryFile, iSize))
            twEngine_ApplyFirstAngle();
        fclose(pGalleryFile);
    }
    FILE* pSettings = twCore_GetResourceExt(TW_SETTINGS_FILE, szPath, nullptr);
    if (pSettings) {
        twEngine_LoadSaveSettings(pSettings, 0);
        fclose(pSettings);
    }
    LoadSunPlace(szPath);
    snprintf(e->szModelPath, sizeof(e->szModelPath), "%s", szPath);
    // under the light loader's tag on purpose: readers of the log look for it there
    twLog("twWorld_LoadLight", "Model succesfully loaded\n");
    twEngine_ApplySettings();
    return 1;
}

int twEngine_RunPending(const char* pstrPath, int* piStep, int* piKind, float* pfMessageTime, int* piMessageKind)
{
    if (*piKind == TW_PENDING_OPEN) {
        twEngine_Load(nullptr);
        *piStep = 0;
        *piKind = TW_PENDING_NONE;
        return 1;
    }
    if (*piKind == TW_PENDING_OPEN_MODEL) {
        char szPath[TW_SET_SIZE];
        twWindow_SetDialogMode(1);
        int bChosen = twWindow_GetFileFromDialog(3, szPath, TW_LINK_FILTER, twStrings_Get(TW_STR_MODEL_FILES), 0);
        twWindow_SetDialogMode(0);
        if (bChosen)
            twLink_Open(szPath, 0);
        *piStep = 0;
        *piKind = TW_PENDING_NONE;
        return 1;
    }
    if (*piKind == TW_PENDING_ADD_MODEL || *piKind == TW_PENDING_REMOVE_MODEL) {
        char szChosen[TW_SET_SIZE];
        twWindow_SetDialogMode(1);
        int bAdd = *piKind == TW_PENDING_ADD_MODEL;
        int bChosen = bAdd ? twWindow_GetFileFromDialog(3, szChosen, TW_LINK_FILTER, twStrings_Get(TW_STR_MODEL_FILES), 0)
                           : pLink && twWindow_ChooseFromDialog(twStrings_Get(TW_STR_MODELS_OPEN), pLink->szSource,
                                                                szChosen, sizeof(szChosen));
        twWindow_SetDialogMode(0);
        if (bChosen)
            twLink_ChangeSet(bAdd ? szChosen : nullptr, bAdd ? nullptr : szChosen);
        *piStep = 0;
        *piKind = TW_PENDING_NONE;
        return 1;
    }
    if (*piKind != TW_PENDING_PUBLISH_WIN && *piKind != TW_PENDING_PUBLISH_MAC) {
        *piStep = 0;
        *piKind = TW_PENDING_NONE;
        return 1;
    }
    int bMac = *piKind == TW_PENDING_PUBLISH_MAC;
    if (*piStep >= PENDING_PUBLISH_STEP) {
        // the message panel has been up for three frames: now the program may block
        twEngine_Save(bMac, pstrPath);
        *piStep = 0;
        *piKind = TW_PENDING_NONE;
        *pfMessageTime = 0;
        return 1;
    }
    if (*piStep == 1) {
        if (!twEngine_PickPublishPath(bMac)) {
            *piStep = 0;
            *piKind = TW_PENDING_NONE;
            return 1;
        }
        *pfMessageTime = 1.0f;
        *piMessageKind = TW_MESSAGE_PUBLISHING;
    }
    (*piStep)++;
    return 1;
}

int twEngine_PrepareLight(void)
{
    twWorld_SetLightProgressCallback(twEngine_LightProgress);
    if (!twWorld_InitLight(1, nullptr)) {
        twLogError("twEngine_PrepareLight", "!twWorld_InitLight\n");
        return 0;
    }
    pEngine->iRenderModeWanted = TW_MODE_LIT;
    pEngine->bLightLoaded = 1;
    twEngine_ApplySettings();
    twEngine_ShowLightState(0);
    return 1;
}

int twEngine_RunLight(int bOnlyVisible)
{
    twWorld_SetLightAbortCallback(twInput_UpdateAndGetEscape);
    twWorld_SetLightProgressCallback(twEngine_LightProgress);
    int bOk = twWorld_LightWorld(pCam, bOnlyVisible);
    twEngine_ShowLightState(0);
    if (!bOk)
        twEngine_ShowMessage(TW_MESSAGE_TEXT, TW_MESSAGE_SECONDS, twStrings_Get(TW_STR_LIGHT_STOPPED));
    // a finished light has nothing more to offer on the page: the panel slides away to show it
    if (!bOnlyVisible && twWorld_LightComplete()) {
        pEngine->bInterface = 1;
        pEngine->fInterfSlideDir = -1;
    }
    return bOk;
}

void twEngine_ShowMessage(int iKind, float fSeconds, const char* pstrText)
{
    TwEngine* e = pEngine;
    if (!e)
        return;
    if (iKind == TW_MESSAGE_TEXT)
        snprintf(e->szMessageText, sizeof(e->szMessageText), "%s", pstrText ? pstrText : "");
    e->iMessageKind = iKind;
    e->fMessageTime = fSeconds;
}

void twEngine_ModelIn(int bReload)
{
    TwEngine* e = pEngine;
    e->fMessageTime = 0;
    e->iTrackedElement = e->iPickedElement = -1;
    e->iSunUpdate = 1;
    if (!bReload)
        e->fTimeInLevel = 0;
}

void twEngine_LightProgress(void)
{
    // the frame as the main loop draws it, shown at once, with its one window event
    twTimer_Update();
    twEngine_Draw();
    twWindow_SwapBuffers();
}

int twEngine_InitSkybox(void)
{
    // a missing sky doesn't fail the start: the background stays as it is
    if (twSkybox_Init())
        twSkybox_Load(pEngine->bStandAlone || pEngine->bNoShaders);
    return 1;
}

int twEngine_InitAvailableRenderModes(int bNoShaders)
{
    static const int aiShaded[TW_MAX_RENDER_MODES] = {TW_STR_MODE_LIT,  TW_STR_MODE_WHITE, TW_STR_MODE_LAMP_GREY,
                                                      TW_STR_MODE_LAMP, TW_STR_MODE_SUN,   TW_STR_MODE_PLAIN};
    static const int aiFixed[2] = {TW_STR_MODE_SUN, TW_STR_MODE_PLAIN};
    const int* piIds;
    int iCount;
    if (bNoShaders) {
        piIds = aiFixed;
        iCount = 2;
    } else if (pEngine->bRadiosity) {
        piIds = aiShaded;
        iCount = 6;
    } else {
        piIds = aiShaded + 1;
        iCount = 5;
    }
    for (int i = 0; i < iCount; i++) {
        CopyText(pEngine->aszRenderModes[i], twStrings_Get(piIds[i]));
        pEngine->apszRenderModes[i] = pEngine->aszRenderModes[i];
    }
    pEngine->iNumRenderModes = iCount;
    twLog("twEngine_InitAvailableRenderModes", "Number of render modes = %d\n", iCount);
    return 1;
}

// The list on offer is the full list of modes with its head cut off: a place in it names a
// mode counted from the end
int twEngine_RenderModeIndex(int iDrawMode)
{
    return iDrawMode + pEngine->iNumRenderModes - TW_MAX_RENDER_MODES;
}

#ifdef AMB_TEST_HOOKS
// Only in test builds: AMB_TEST_BAKE=<quality> bakes the model once the level has run a
// second (the sweeps have stamped its groups), as the light page's start would
// AMB_TEST_SLOW_FRAME=<ms> makes every frame that much longer, as on a modest machine
static void TestHooks(void)
{
    const char* pstrSlow = getenv("AMB_TEST_SLOW_FRAME");
    if (pstrSlow && atoi(pstrSlow) > 0)
        usleep((useconds_t)atoi(pstrSlow) * 1000);
    static int s_bBaked = 0;
    const char* pstrQuality = getenv("AMB_TEST_BAKE");
    if (s_bBaked || !pstrQuality || pEngine->fTimeInLevel < 1.0f || !pWorld->bLoaded)
        return;
    s_bBaked = 1;
    pWorld->iLightQuality = atoi(pstrQuality);
    twLog("twEngine_TestHooks", "Baking at quality %d\n", pWorld->iLightQuality);
    if (twEngine_PrepareLight())
        twEngine_RunLight(0);
}
#endif

int twEngine_Update(void)
{
    TwEngine* e = pEngine;
    float fDelta = twTimer_Update();
    if (e->fNoteTime > 0)
        e->fNoteTime -= fDelta;
    if (e->fInterfSlideDir != 0) {
        e->fInterfSlide += e->fInterfSlideSpeed * e->fInterfSlideDir * fDelta;
        if (e->fInterfSlideDir <= 0 && e->fInterfSlide < 0) {
            glViewport(0, 0, twWindow_GetWidth(), twWindow_GetHeight());
            e->fInterfSlideDir = 0;
            e->fInterfSlide = 0;
            e->bInterface = 0;
        } else if (e->fInterfSlideDir > 0 && e->fInterfSlide > 1) {
            e->fInterfSlideDir = 0;
            e->fInterfSlide = 1;
        }
    }
    twSection_Update();
    // for the first moments after entering a level no frame is shown
    if (e->fTimeInLevel > TW_LEVEL_SWAP_DELAY && e->fTimeRunning > 0) {
        if (e->iPendingStep)
            twEngine_RunPending(e->szPickedPath, &e->iPendingStep, &e->iPendingKind, &e->fMessageTime,
                                &e->iMessageKind);
        twLink_Update();
        twWindow_SwapBuffers();
        // the element under the cross of the frame just shown, from the back buffer that
        // the next frame draws over
        if (e->bElementPick && !e->bInterface)
            e->iTrackedElement = twWorld_PickElement(pCam, twWindow_GetWidth() / 2, twWindow_GetHeight() / 2);
    } else {
        // a frame that isn't shown is still handed to the driver, so that unshown frames
        // can't pile up in it until the first swap
        glFlush();
    }
    if (e->fTimeInLevel > TW_LEVEL_GALLERY_DELAY && twGallery_Update(fDelta)) {
        // a recording that filled its buffer closed a clip
        e->bUpdateGalleryImage = 1;
        twEngine_SaveGallery();
    }
    // walking collides only once the level has settled, not while the sun moves, and not
    // while a clip moves the camera
    int bCollide = pCam->bWalk && !twGallery_IsPlaying() && e->fTimeInLevel > TW_LEVEL_SWAP_DELAY &&
                   e->iSunUpdate == 0;
    twCamera_Update(pCam, bCollide);
    if (bCollide)
        twWorld_Collide(pCam->vPos, pCam->fEyeHeight, e->fCollisionSize);
    twWorld_SetCameraRange(pCam, nullptr, nullptr);
    // quad-buffered stereo widens the view for the eye buffers, which are wider than the window
    if (e->iStereoMode == 3 && !pCam->bTopView)
        pCam->fFovAdd = pCam->fFov * 0.04f;
    twCamera_UpdateMatrices(pCam, 1);
    pCam->fFovAdd = 0;
    // a clip being filmed puts the camera where the frame's time in the clip has it
    twEngine_VideoStep(fDelta);
    // a sun move or a layer change takes effect two frames after it was asked for
    if (e->iSunUpdate == 2) {
        twEngine_ApplySettings();
        twEngine_UpdateSun();
        e->iSunUpdate = 0;
    } else if (e->iSunUpdate) {
        e->iSunUpdate++;
    }
    if (e->iLayerUpdate == 2) {
        twWorld_UpdateHiddenElements();
        e->iLayerUpdate = 0;
    } else if (e->iLayerUpdate) {
        e->iLayerUpdate++;
    }
    if (e->bUpdateGalleryImage) {
        twEngine_UpdateGallery(e->pGalleryTexture);
        e->bUpdateGalleryImage = 0;
    }
    e->fTimeRunning += fDelta;
    e->fTimeInLevel += fDelta;
#ifdef AMB_TEST_HOOKS
    TestHooks();
#endif
    return 1;
}

int twEngine_ApplySettings(void)
{
    TwEngine* e = pEngine;
    if (e->iUnitsWanted != e->iUnits) {
        e->iUnits = e->iUnitsWanted;
        int bFeet = e->iUnits == 1;
        snprintf(e->szUnitSuffix, sizeof(e->szUnitSuffix), " %s",
                 twStrings_Get(bFeet ? TW_STR_FEET_SHORT : TW_STR_METRES_SHORT));
        e->fUnitScale = bFeet ? -FEET_PER_METRE : -1.0f;
    }
    // the lit mode draws nothing without light: a copy's settings may ask for it after its light failed
    int iLitIndex = TW_MODE_LIT + e->iNumRenderModes - TW_MAX_RENDER_MODES;
    if (e->iRenderModeWanted == iLitIndex && !e->bLightLoaded && iLitIndex >= 0)
        e->iRenderModeWanted = TW_MODE_LAMP + e->iNumRenderModes - TW_MAX_RENDER_MODES;
    if (e->iRenderModeWanted != e->iRenderMode) {
        if (e->iRenderModeWanted >= e->iNumRenderModes)
            e->iRenderModeWanted = e->iNumRenderModes - 1;
        e->iRenderMode = e->iRenderModeWanted;
        e->iDrawMode = e->iRenderMode - e->iNumRenderModes + TW_MAX_RENDER_MODES;
        e->iSunAltitudeState = e->iSunAzimuthState = e->iShadowState = 0;
        if (e->iDrawMode == TW_MODE_PLAIN)
            e->iSunAltitudeState = e->iSunAzimuthState = e->iShadowState = 2;
        else if (e->iDrawMode == TW_MODE_SUN)
            e->iShadowState = 2;
        else if (!e->bSunShadows)
            e->iSunAltitudeState = e->iSunAzimuthState = e->iShadowState = 4;
    }
    if (e->iBackgroundWanted != e->iBackground) {
        static const float afColors[TW_NUM_BACKGROUNDS] = {0.0f, 0.0f, 0.8f, 1.0f, 1.0f};
        static const int aiSkyModes[TW_NUM_BACKGROUNDS] = {2, 0, 0, 0, 1};
        e->iBackground = e->iBackgroundWanted;
        if (e->iBackground >= 0 && e->iBackground < TW_NUM_BACKGROUNDS) {
            e->vClearColor[0] = e->vClearColor[1] = e->vClearColor[2] = afColors[e->iBackground];
            e->iSkyMode = aiSkyModes[e->iBackground];
        }
        glClearColor(e->vClearColor[0], e->vClearColor[1], e->vClearColor[2], e->vClearColor[3]);
        e->bClearColor = e->iSkyMode == 0;
    }
    if (e->fLightLevelWanted != e->fLightLevel)
        e->fLightLevel = e->fLightLevelWanted;
    if (e->iSceneOptionWanted != e->iSceneOption)
        e->iSceneOption = e->iSceneOptionWanted;
    if (e->bSunShadows && e->fSunShadowWanted != e->fSunShadow) {
        e->fSunShadow = e->fSunShadowWanted;
        float v = e->fSunShadow >= 0 ? e->fSunShadow : 1.0f - fabsf(e->fSunShadow);
        if (twOgl_HasFragmentPrograms())
            glProgramEnvParameter4fARB(GL_FRAGMENT_PROGRAM_ARB, 8, v, 0, 0, 0);
    }
    if (e->iSunAltitudeWanted != e->iSunAltitude || e->iSunAzimuthWanted != e->iSunAzimuth) {
        e->iSunAltitude = e->iSunAltitudeWanted;
        e->iSunAzimuth = e->iSunAzimuthWanted;
        // the plain and the fixed-function modes draw no shadows to renew
        if (e->iDrawMode != TW_MODE_PLAIN && e->iDrawMode != TW_MODE_SUN)
            e->iSunUpdate = 1;
    }
    return 1;
}

int twEngine_UpdateSun(void)
{
    TwEngine* e = pEngine;
    pSunCam->fOrthoPitch = (float)-e->iSunAltitude;
    pSunCam->fOrthoYaw = (float)e->iSunAzimuth;
    pSunCam->fOrthoRoll = 0;
    pSunCam->fPitch = pSunCam->fOrthoPitch;
    pSunCam->fYaw = pSunCam->fOrthoYaw;
    pSunCam->fRoll = 0;
    if (!pWorld || !pWorld->bLoaded)
        return 1;
    // shadows asked for but no map to draw them from: nothing to renew
    if ((e->fSunShadow < -0.02f || e->fSunShadow > 0.02f) && !twWorld_ShadowsReady())
        return 1;
    twWorld_PlaceSunCamera(pSunCam);
    twCamera_UpdateSunMatrices(pSunCam);
    twWorld_UpdateShadowMatrices(pSunCam);
    twWorld_RenderShadowMap(pSunCam, e->bUseVbo, 1);
    return 1;
}

int twEngine_ToggleSunShadows(void)
{
    TwEngine* e = pEngine;
    // only the modes drawn by programs have shadows
    if (e->iDrawMode >= TW_MODE_SUN)
        return 0;
    e->bSunShadows = !e->bSunShadows;
    if (e->bSunShadows && !twWorld_ShadowsReady() && !twWorld_InitShadows()) {
        e->bSunShadows = 0;
        twEngine_ShowMessage(TW_MESSAGE_NO_SHADOWS, SHADOW_MESSAGE_SECONDS, nullptr);
        return 0;
    }
    if (e->bSunShadows) {
        e->iSunAltitudeState = e->iSunAzimuthState = e->iShadowState = 0;
        e->iSunUpdate = 1;
        if (e->fSunShadowWanted == 0)
            e->fSunShadowWanted = 0.26f;
        e->fSunShadow = -2.0f; // counts as changed: the next apply sends the value
    } else {
        e->iShadowState = 4;
    }
    return 1;
}

int twEngine_EnterLevel(void)
{
    twEngine_ApplySettings();
    pEngine->fTimeInLevel = 0;
    return 1;
}

int twEngine_ShowProgress(const char* pstrLine1, const char* pstrLine2, float fFraction)
{
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    glViewport(0, 0, iWidth, iHeight);
    glClearColor(0, 0, 0, 0);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, iWidth, 0, iHeight, 1, -1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    int iX = (iWidth - 400) / 3;
    int iMiddle = iHeight / 2;
    char szPercent[128];
    if (!pstrLine1 && !pstrLine2 && fFraction > 0) {
        snprintf(szPercent, sizeof(szPercent), "%s %.0f %%", twStrings_Get(TW_STR_LOADING), fFraction * 100.0f);
        pstrLine2 = szPercent;
    }
    // a call that would draw the very picture on screen draws nothing: a model's loader
    // reports thousands of steps, and the percentage moves on only a hundred times. The
    // fade-in runs by the wall clock while the caller works, and shows a frame's worth at a time
    static char s_szShown[2 * TW_PATH_SIZE + 8];
    static double s_dFadeStart, s_dDrawn;
    char szNow[sizeof(s_szShown)];
    snprintf(szNow, sizeof(szNow), "%d\n%.*s\n%.*s", pstrLine1 != nullptr, TW_PATH_SIZE, pstrLine1 ? pstrLine1 : "",
             TW_PATH_SIZE, pstrLine2 ? pstrLine2 : "");
    double dNow = twTimer_Seconds();
    int bSame = !strcmp(szNow, s_szShown);
    if (bSame && (pEngine->fProgressFade > TW_PROGRESS_FADE_END || dNow - s_dDrawn < PROGRESS_FADE_STEP))
        return 1;
    memcpy(s_szShown, szNow, sizeof(s_szShown));
    if (pEngine->fProgressFade <= 0)
        s_dFadeStart = dNow;
    if (pEngine->fProgressFade <= TW_PROGRESS_FADE_END)
        pEngine->fProgressFade = fmaxf((float)(dNow - s_dFadeStart), 1e-6f);
    s_dDrawn = dNow;
    float f = pEngine->fProgressFade;
    glDisable(GL_DEPTH_TEST);
    glColor4f(f, f, f, f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | (twWindow_HasStencil() ? GL_STENCIL_BUFFER_BIT : 0));
    twOgl_DrawText(1, iX, iMiddle + 40, twStrings_Get(TW_STR_APP_NAME));
    twOgl_DrawText(0, iX, iMiddle + 10, pEngine->szVersion);
    if (pstrLine1)
        twOgl_DrawText(0, iX, iMiddle - 5, pstrLine1);
    if (pstrLine2)
        twOgl_DrawText(0, iX, iMiddle - 20, pstrLine2);
    glEnable(GL_DEPTH_TEST);
    twWindow_SwapBuffers();
#ifdef AMB_TEST_HOOKS
    // only in test builds: AMB_TEST_SLOW_LOAD=<ms> holds the first progress screen that long,
    // fading in, as a large model's load would
    static int s_bHeld = 0;
    const char* pstrSlowLoad = getenv("AMB_TEST_SLOW_LOAD");
    if (!s_bHeld && pstrSlowLoad && atoi(pstrSlowLoad) > 0) {
        s_bHeld = 1;
        double dEnd = dNow + atoi(pstrSlowLoad) / 1000.0;
        while (twTimer_Seconds() < dEnd) {
            usleep(5000);
            twEngine_ShowProgress(pstrLine1, pstrLine2, fFraction);
        }
    }
#endif
    return 1;
}
