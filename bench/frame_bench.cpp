// Frame speed: a fixed flight through the sample house and through the same house 16
// times on a grid, at the display's size (1280 by 1024 under the test display), in each
// render mode. Prints frames per second, the mean and worst milliseconds of a frame and
// the triangles drawn; then the cost of a walker's collision along the same path, on the
// tree and on the hidden-layer path.
//
//   bench_frame           (needs a display; the window takes the display's size)
#include <stdio.h>
#include <string.h>

#include "bench/bench_models.h"
#include "engine/engine.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/skybox.h"
#include "tests/support.h"
#include "tools/export.h"
#include "world/world.h"

#define PATH_KEYS 4
#define FRAMES_PER_LEG 80
#define WARMUP_FRAMES 20 // the driver builds its programs on their first use

static float s_avKeys[PATH_KEYS][3];

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

static void Flight(int iMode)
{
    pEngine->iRenderModeWanted = iMode;
    twEngine_ApplySettings();
    for (int i = 0; i < WARMUP_FRAMES; i++) {
        PlaceOnPath(i);
        twCamera_UpdateMatrices(pCam, 1);
        twEngine_Draw();
        twWindow_SwapBuffers();
    }
    double dWorst = 0, dStart = twTimer_Seconds();
    long lIndices = 0;
    int iFrames = PathFrames();
    for (int i = 0; i < iFrames; i++) {
        double dFrame = twTimer_Seconds();
        PlaceOnPath(i);
        twWorld_SetCameraRange(pCam, nullptr, nullptr);
        twCamera_UpdateMatrices(pCam, 1);
        twEngine_Draw();
        twWindow_SwapBuffers();
        lIndices += pWorld->iNumIndicesDrawn;
        double d = twTimer_Seconds() - dFrame;
        if (d > dWorst)
            dWorst = d;
    }
    double dTotal = twTimer_Seconds() - dStart;
    printf("  %-18s %6.1f fps %8.1f ms mean %8.1f ms worst %9ld triangles\n", pEngine->apszRenderModes[iMode],
           iFrames / dTotal, dTotal * 1000 / iFrames, dWorst * 1000, lIndices / 3 / iFrames);
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

static void Bench(const char* pstrName, const TwExportModel& model, const std::string& path, const float* pHouseMin,
                  const float* pHouseMax)
{
    twExport_WriteFile(model, path);
    if (!twWorld_LoadModel(nullptr, path.c_str(), 0, pCam, pEngine->szModelInfo, &pEngine->iSunAltitudeWanted,
                           &pEngine->iSunAzimuthWanted, pEngine->bUseVbo, nullptr)) {
        printf("%s: FAILED to load\n", pstrName);
        return;
    }
    twEngine_ApplySettings();
    twEngine_UpdateSun();
    if (pHouseMin)
        MakePath(pCam->vPos, pHouseMin, pHouseMax);
    else
        MakePath(pCam->vPos, pWorld->vMin, pWorld->vMax);
    printf("%s: %d triangles, %d element groups, %dx%d\n", pstrName, pWorld->iNumTris, pWorld->iNumElementGroups,
           twWindow_GetWidth(), twWindow_GetHeight());
    for (int iMode = 1; iMode < pEngine->iNumRenderModes; iMode++)
        Flight(iMode);
    Collisions(0);
    Collisions(1);
}

int main(void)
{
    twTest_StartGl(1280, 1024);
    std::string dir = twTest_Dir();
    twStrings_Init();
    if (!twStrings_ImportBin(AMB_BUILD_DIR "/Data/Strings/Strings.bin") || !twEngine_InitEngine() ||
        !twEngine_InitCamera() || !twEngine_InitLayers() || !twEngine_InitWorld() || !twEngine_InitSkybox()) {
        printf("the engine didn't start\n");
        return 1;
    }
    pEngine->fTimeInLevel = pEngine->fTimeRunning = 100;
    pCam->bWalk = 0;
    TwExportModel house = twBench_SampleHouse();
    Bench("house", house, dir + "bench.bin", nullptr, nullptr);
    float vMin[3], vMax[3];
    memcpy(vMin, pWorld->vMin, sizeof(vMin));
    memcpy(vMax, pWorld->vMax, sizeof(vMax));
    Bench("16 houses", twBench_Tiled(house, 4), dir + "bench.bin", vMin, vMax);
    twEngine_Shutdown();
    return 0;
}
