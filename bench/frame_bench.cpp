// Frame speed: a fixed flight through the sample house and through the same house 16
// times on a grid, at the display's size (1280 by 1024 under the test display), in each
// render mode, each frame swept as the viewer does. Prints frames per second, the mean and
// worst milliseconds of a frame and the triangles drawn; then the cost of a walker's
// collision along the same path, on the tree and on the hidden-layer path; the flight with
// the storey cut, three planes and a box, against the uncut one. On the grid,
// two views in the head-lamp mode (along a row of houses, turning round inside one) are
// timed with the sweep against drawing every group, with the sweep's own cost.
//
//   bench_frame [shots folder]   (needs a display; the window takes the display's size;
//                                 with a folder, the first frame of each view goes there)
#include <GL/glew.h>
#include <stdio.h>
#include <string.h>

#include "bench/bench_models.h"
#include "engine/engine.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/interf.h"
#include "interface/section.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "render/skybox.h"
#include "tools/export/export.h"
#include "tools/harness/harness.h"
#include "world/world.h"

#define PATH_KEYS 4
#define FRAMES_PER_LEG 80
#define WARMUP_FRAMES 20 // the driver builds its programs on their first use
#define VIEW_FRAMES 120

static float s_avKeys[PATH_KEYS][3];
static const char* s_pstrShots; // where the views' first frames go, or null

// Keys of the flight, from the exported view into the middle of the first house, through
// one of its rooms and out beyond its far corner, at the view's height
static void MakePath(const float* pStart, const float* pMin, const float* pMax)
{
    float c[3], h[3];
    for (int i = 0; i < 3; i++) {
        c[i] = (pMin[i] + pMax[i]) * 0.5f;
        h[i] = (pMax[i] - pMin[i]) * 0.5f;
    }
    float y = pStart[1];
    float aKeys[PATH_KEYS][3] = {{pStart[0], y, pStart[2]},
                                 {c[0], y, c[2]},
                                 {c[0] + h[0] * 0.5f, y, c[2] - h[2] * 0.5f},
                                 {c[0] + h[0] + 5, y, c[2] + h[2] + 5}};
    memcpy(s_avKeys, aKeys, sizeof(s_avKeys));
}

static int PathFrames(void)
{
    return (PATH_KEYS - 1) * FRAMES_PER_LEG;
}

// Places the camera at frame i of the path, looking along it
static void PlaceOnPath(int i)
{
    int iLeg = i / FRAMES_PER_LEG;
    float t = (float)(i % FRAMES_PER_LEG) / FRAMES_PER_LEG;
    const float* a = s_avKeys[iLeg];
    const float* b = s_avKeys[iLeg + 1];
    for (int k = 0; k < 3; k++)
        pCam->vPos[k] = a[k] + (b[k] - a[k]) * t;
    float vTarget[3] = {b[0], b[1], b[2]};
    if (t > 0.98f || (b[0] == pCam->vPos[0] && b[2] == pCam->vPos[2]))
        vTarget[0] += 1;
    twCamera_LookAt(pCam, vTarget);
}

// Turning round in one place: the yaw of frame i of n
static void PlaceTurning(int i, int n, const float* pvPos, float fYawFrom, float fYawTo)
{
    memcpy(pCam->vPos, pvPos, sizeof(pCam->vPos));
    pCam->fYaw = fYawFrom + (fYawTo - fYawFrom) * (float)i / (float)n;
    pCam->fPitch = 0;
}

struct Timing {
    double dTotal, dWorst, dSweep;
    long lIndices;
};

// One frame as the main loop has it: the sweep (unless every group is to be drawn), the
// draw, the swap
static void Frame(int bSweep, Timing* pTiming)
{
    double dFrame = twTimer_Seconds();
    twWorld_SetCameraRange(pCam, nullptr, nullptr);
    twCamera_UpdateMatrices(pCam, 1);
    twTimer_Update();
    if (bSweep) {
        twWorld_VisibilitySweep(pEngine->bDrawFlare, pCam, 0, pEngine->bUseVbo, 0);
        pTiming->dSweep += twTimer_Seconds() - dFrame;
    } else {
        // stamps never renewed: the world's frame stays behind every group's
        pWorld->uiVisibleFrame = 0;
    }
    pWorld->iNumIndicesDrawn = 0;
    twEngine_Draw();
    twWindow_SwapBuffers();
    pTiming->lIndices += pWorld->iNumIndicesDrawn;
    double d = twTimer_Seconds() - dFrame;
    pTiming->dTotal += d;
    if (d > pTiming->dWorst)
        pTiming->dWorst = d;
}

static void PrintTiming(const char* pstrName, const Timing* t, int iFrames, int bSweep)
{
    printf("  %-26s %6.1f fps %8.1f ms mean %8.1f ms worst %9ld triangles", pstrName, iFrames / t->dTotal,
           t->dTotal * 1000 / iFrames, t->dWorst * 1000, t->lIndices / 3 / iFrames);
    if (bSweep)
        printf("  sweep %5.2f ms", t->dSweep * 1000 / iFrames);
    printf("\n");
}

// The flight along the path as the viewer stands now, after frames that warm the driver up
static Timing Fly(void)
{
    Timing t = {};
    for (int i = 0; i < WARMUP_FRAMES; i++) {
        PlaceOnPath(i);
        Frame(1, &t);
    }
    t = {};
    for (int i = 0; i < PathFrames(); i++) {
        PlaceOnPath(i);
        Frame(1, &t);
    }
    return t;
}

// The flight in the mode at this place of the list on offer
static void Flight(int iPlace)
{
    pEngine->iRenderModeWanted = iPlace;
    twEngine_ApplySettings();
    Timing t = Fly();
    PrintTiming(pEngine->apszRenderModes[iPlace], &t, PathFrames(), 1);
}

// A view turning from one yaw to another: with the sweep, with every group drawn, and with
// no model at all (the sky, the overlay and the swap that every frame pays)
enum ViewRun { VIEW_SWEPT, VIEW_ALL, VIEW_EMPTY };

static void View(const char* pstrName, const float* pvPos, float fYawFrom, float fYawTo)
{
    static const char* s_apstrRuns[3] = {"swept", "all groups", "no model"};
    pEngine->iRenderModeWanted = twEngine_RenderModeIndex(TW_MODE_LAMP);
    twEngine_ApplySettings();
    for (int iRun = VIEW_SWEPT; iRun <= VIEW_EMPTY; iRun++) {
        int bSweep = iRun == VIEW_SWEPT;
        pWorld->bLoaded = iRun != VIEW_EMPTY;
        Timing t = {};
        for (int i = 0; i < WARMUP_FRAMES; i++) {
            PlaceTurning(0, VIEW_FRAMES, pvPos, fYawFrom, fYawTo);
            Frame(bSweep, &t);
        }
        if (s_pstrShots && bSweep) {
            char szPath[512];
            snprintf(szPath, sizeof(szPath), "%s/%s.bmp", s_pstrShots, pstrName);
            twEngine_Draw();
            twOgl_Screenshot(szPath, nullptr, 0);
        }
        t = {};
        for (int i = 0; i < VIEW_FRAMES; i++) {
            PlaceTurning(i, VIEW_FRAMES, pvPos, fYawFrom, fYawTo);
            Frame(bSweep, &t);
        }
        char szName[64];
        snprintf(szName, sizeof(szName), "%s, %s", pstrName, s_apstrRuns[iRun]);
        PrintTiming(szName, &t, VIEW_FRAMES, bSweep);
    }
    pWorld->bLoaded = 1;
}

static void Collisions(int bHiddenPath)
{
    pWorld->bAnyHiddenElements = bHiddenPath;
    int iFrames = PathFrames();
    double dStart = twTimer_Seconds();
    for (int i = 0; i < iFrames; i++) {
        PlaceOnPath(i);
        float vWalker[5] = {pCam->vPos[0], pCam->vPos[1], pCam->vPos[2], 0, 0};
        twWorld_Collide(vWalker, 1.7f, pEngine->fCollisionSize);
    }
    double dTotal = twTimer_Seconds() - dStart;
    printf("  collision, %-12s %8.1f us a frame, %s\n", bHiddenPath ? "layer path" : "tree path",
           dTotal * 1e6 / iFrames, pWorld->szCollisionInfo);
    pWorld->bAnyHiddenElements = 0;
}

static int Bench(const char* pstrName, const TwExportModel& model, const std::string& path, const float* pHouseMin,
                 const float* pHouseMax)
{
    twExport_WriteFile(model, path);
    if (!twWorld_LoadModel(nullptr, path.c_str(), 0, pCam, pEngine->szModelInfo, &pEngine->iSunAltitudeWanted,
                           &pEngine->iSunAzimuthWanted, pEngine->bUseVbo, nullptr)) {
        printf("%s: FAILED to load\n", pstrName);
        return 0;
    }
    twEngine_ApplySettings();
    twEngine_UpdateSun();
    if (pHouseMin)
        MakePath(pCam->vPos, pHouseMin, pHouseMax);
    else
        MakePath(pCam->vPos, pWorld->vMin, pWorld->vMax);
    printf("%s: %d triangles, %d element groups, %dx%d\n", pstrName, pWorld->iNumTris, pWorld->iNumElementGroups,
           twWindow_GetWidth(), twWindow_GetHeight());
    // the lit mode draws nothing until a light solution is there
    for (int iPlace = twEngine_RenderModeIndex(TW_MODE_WHITE); iPlace < pEngine->iNumRenderModes; iPlace++)
        Flight(iPlace);
    Collisions(0);
    Collisions(1);
    return 1;
}

// The panel up on the view page, its widgets faded in: the same frame with and without it,
// and the panel's pass alone, finished on the GPU
static void Panel(void)
{
    const int iFrames = 200;
    Timing aTimings[2] = {};
    for (int bPanel = 0; bPanel <= 1; bPanel++) {
        pEngine->bInterface = bPanel;
        pEngine->fInterfSlide = (float)bPanel;
        twInterf_SelectPage(nullptr);
        if (bPanel)
            twInterf_SelectPage(twStrings_Get(101));
        pInterf->fFade = 1;
        for (int i = 0; i < iFrames; i++)
            Frame(1, &aTimings[bPanel]);
    }
    glFinish();
    double dPass = 0;
    for (int i = 0; i < iFrames; i++) {
        double d = twTimer_Seconds();
        twInterf_Draw(0, 0, 0, 0, 1, 0);
        glFinish();
        dPass += twTimer_Seconds() - d;
    }
    pEngine->bInterface = 0;
    pEngine->fInterfSlide = 0;
    printf("  panel: frame %.2f ms without, %.2f ms with it up; its pass alone %.3f ms\n",
           aTimings[0].dTotal * 1000 / iFrames, aTimings[1].dTotal * 1000 / iFrames, dPass * 1000 / iFrames);
}

// The sun's shadows in the head-lamp mode at the current view: frames without and with
// them, and one sun move (the map drawn again), finished on the GPU
static void Sun(void)
{
    TwEngine* e = pEngine;
    const int iFrames = 60;
    if (!twWorld_InitShadows()) {
        printf("  sun: no shadow map on this driver\n");
        return;
    }
    e->iRenderModeWanted = twEngine_RenderModeIndex(TW_MODE_LAMP);
    twEngine_ApplySettings();
    Timing aTimings[2] = {};
    for (int bShadows = 0; bShadows <= 1; bShadows++) {
        e->bSunShadows = bShadows;
        e->fSunShadow = -2;
        e->fSunShadowWanted = 0.26f;
        twEngine_ApplySettings();
        twEngine_UpdateSun();
        for (int i = 0; i < iFrames; i++)
            Frame(1, &aTimings[bShadows]);
    }
    double dMove = 1e30;
    for (int i = 0; i < 3; i++) {
        e->iSunAzimuthWanted = (e->iSunAzimuth + 40) % 360;
        twEngine_ApplySettings();
        glFinish();
        double d = twTimer_Seconds();
        twEngine_UpdateSun();
        glFinish();
        d = twTimer_Seconds() - d;
        dMove = d < dMove ? d : dMove;
    }
    e->bSunShadows = 0;
    double dWithout = aTimings[0].dTotal * 1000 / iFrames, dWith = aTimings[1].dTotal * 1000 / iFrames;
    printf("  sun: frame %.1f ms without shadows, %.1f ms with them (%+.0f%%); a sun move %.0f ms (map %d)\n",
           dWithout, dWith, (dWith / dWithout - 1) * 100, dMove * 1000, pWorld->iShadowSize);
}

// The same view with smooth edges off and on: the frame through the window's multisampled twin
static void SmoothEdges(const char* pstrName)
{
    const int iFrames = 60;
    Timing aTimings[2] = {};
    for (int bSmooth = 0; bSmooth <= 1; bSmooth++) {
        pEngine->bSmoothEdges = bSmooth;
        for (int i = 0; i < WARMUP_FRAMES; i++)
            Frame(1, &aTimings[bSmooth]);
        aTimings[bSmooth] = {};
        for (int i = 0; i < iFrames; i++)
            Frame(1, &aTimings[bSmooth]);
    }
    pEngine->bSmoothEdges = 0;
    double dOff = aTimings[0].dTotal * 1000 / iFrames, dOn = aTimings[1].dTotal * 1000 / iFrames;
    printf("  smooth edges, %s: frame %.1f ms off, %.1f ms on (%+.0f%%, %d samples)\n", pstrName, dOff, dOn,
           (dOn / dOff - 1) * 100, pEngine->pWindowSamples ? pEngine->pWindowSamples->iSamples : 0);
}

// The flight in the head-lamp mode uncut, with the storey cut, with three planes and with a
// box about the middle of the model, caps on: each one's cost over the uncut frame
static void Cuts(const char* pstrName)
{
    TwSection* s = pSection;
    TwWorld* w = pWorld;
    pEngine->iRenderModeWanted = twEngine_RenderModeIndex(TW_MODE_LAMP);
    twEngine_ApplySettings();
    static const char* s_apstrCuts[4] = {"uncut", "storey cut", "three planes", "box"};
    float c[3], h[3];
    for (int i = 0; i < 3; i++) {
        c[i] = (w->vMin[i] + w->vMax[i]) * 0.5f;
        h[i] = (w->vMax[i] - w->vMin[i]) * 0.5f;
    }
    double adMean[4];
    long alTriangles[4];
    for (int k = 0; k < 4; k++) {
        twSection_Clear();
        if (k == 1) {
            s->bStoreyCut = 1;
            s->fStoreyCutY = w->vMin[1] + 1.2f;
        } else if (k == 2) {
            const float aafPlanes[3][4] = {{-1, 0, 0, c[0] + h[0] * 0.3f}, {0, 0, -1, c[2] + h[2] * 0.3f},
                                           {0, -1, 0, w->vMin[1] + 2.5f}};
            memcpy(s->aafPlanes, aafPlanes, sizeof(aafPlanes));
            s->iNumPlanes = 3;
        } else if (k == 3) {
            twSection_ModelBox();
            for (int i = 0; i < 3; i++) {
                s->vBoxMin[i] = c[i] - h[i] * 0.6f;
                s->vBoxMax[i] = c[i] + h[i] * 0.6f;
            }
        }
        twSection_Update();
        Timing t = Fly();
        int iFrames = PathFrames();
        adMean[k] = t.dTotal * 1000 / iFrames;
        alTriangles[k] = t.lIndices / 3 / iFrames;
    }
    twSection_Clear();
    twSection_Update();
    printf("  cuts, %s, head lamp, caps on:", pstrName);
    for (int k = 0; k < 4; k++) {
        printf("%s %s %.1f ms", k ? ";" : "", s_apstrCuts[k], adMean[k]);
        if (k)
            printf(" (%+.0f%%)", (adMean[k] / adMean[0] - 1) * 100);
        printf(", %ld triangles", alTriangles[k]);
    }
    printf("\n");
}

int main(int argc, char** argv)
{
    s_pstrShots = argc > 1 ? argv[1] : nullptr;
    twHarness_StartGl(1280, 1024);
    std::string dir = twHarness_Dir();
    twStrings_Init();
    if (!twStrings_ImportBin(AMB_BUILD_DIR "/Data/Strings/Strings.bin") || !twEngine_InitEngine() ||
        !twEngine_InitDevMode() || !twEngine_InitCamera() || !twEngine_InitLayers() || !twEngine_InitWorld() ||
        !twEngine_InitGallery() || !twEngine_InitSkybox() || !twEngine_InitInterf() || !twSection_Init()) {
        printf("the engine didn't start\n");
        return 1;
    }
    // the scratch data folder has no sky: the program's pack has
    twSkybox_Load(1);
    pEngine->fTimeInLevel = pEngine->fTimeRunning = 100;
    pCam->bWalk = 0;
    // the other figures are of the plain frame, as they always were; smooth edges have their own
    pEngine->bSmoothEdges = 0;
    TwExportModel house = twBench_SampleHouse();
    Bench("house", house, dir + "bench.bin", nullptr, nullptr);
    Cuts("the house");
    Panel();
    SmoothEdges("the house");
    float vMin[3], vMax[3];
    memcpy(vMin, pWorld->vMin, sizeof(vMin));
    memcpy(vMax, pWorld->vMax, sizeof(vMax));
    float vEye[3];
    memcpy(vEye, pCam->vPos, sizeof(vEye));
    if (Bench("16 houses", twBench_Tiled(house, 4), dir + "bench.bin", vMin, vMax)) {
        // along the first row from before its first house, and inside that house
        float vRow[3] = {vMin[0] - 10, vEye[1], (vMin[2] + vMax[2]) * 0.5f};
        View("along a row", vRow, -110, -70);
        float vInside[3] = {(vMin[0] + vMax[0]) * 0.5f, vEye[1], (vMin[2] + vMax[2]) * 0.5f};
        View("inside a house", vInside, 0, 360);
        Cuts("16 houses");
        PlaceTurning(0, 1, vInside, 0, 0);
        SmoothEdges("inside a house");
        PlaceTurning(0, 1, vRow, -90, -90);
        Sun();
    }
    twEngine_Shutdown();
    return 0;
}
