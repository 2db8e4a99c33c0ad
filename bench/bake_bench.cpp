// The light job: the driver's start of the first job in the process, apart; then luxels a
// second and the whole job's time on a builder room, the sample house at three qualities and
// 16 houses on a grid, each with the way its trial chose; on the room and the house beside it
// each way of bringing the means back, forced, and the floor: one bare picture of the same
// geometry and its read-back per sample, timed over the same samples.
//
//   bench_bake [repeats] [quick]   (needs a display; the best of the repeats counts, 3 unless
//                                   given; quick stops after the house at quality 0)
#include <GL/glew.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "bench/bench_models.h"
#include "engine/timer.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "render/render.h"
#include "tools/export/export.h"
#include "tools/harness/harness.h"
#include "world/world.h"

#define FLOOR_SAMPLES 4000 // pictures the floor is timed over

static int s_iRepeats = 3;

static int Load(const TwExportModel& model, const std::string& dir, int iQuality)
{
    std::string path = dir + "bench.bin";
    twExport_WriteFile(model, path);
    if (!twWorld_LoadModel(nullptr, path.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1, nullptr))
        return 0;
    // as after the frames that come before a light job
    for (int g = 0; g < pWorld->iNumElementGroups; g++)
        pWorld->pElementGroups[g].uiVisibleFrame = 1;
    pWorld->iLightQuality = iQuality;
    return twWorld_InitLight(1, nullptr);
}

// The best time of a whole job over the repeats, every run from an unlit frame, its means
// brought back the way given (or the way a trial at its start chose)
static double Job(int iPath)
{
    double dBest = 1e30;
    for (int r = 0; r < s_iRepeats; r++) {
        twWorld_FreeRad();
        twWorld_InitLight(0, nullptr);
        pWorld->iSamplePath = iPath;
        TwCamera cam;
        twCamera_Init(&cam);
        double dStart = twTimer_Seconds();
        twWorld_LightWorld(&cam, 0);
        double d = twTimer_Seconds() - dStart;
        dBest = d < dBest ? d : dBest;
    }
    pWorld->iSamplePath = TW_SAMPLE_CHOOSE;
    return dBest;
}

// Seconds a sample of bare pictures: the first luxels of the surfaces in order, each drawn
// alone into a cleared square and read back
static double Floor(void)
{
    TwWorld* w = pWorld;
    int iSize = w->iSamplerSizeHi;
    std::vector<uint8_t> pixels((size_t)iSize * iSize * 4);
    double dBest = 1e30;
    for (int r = 0; r < s_iRepeats; r++) {
        twWorld_BeginSampling();
        glViewport(0, 0, iSize, iSize);
        glScissor(0, 0, iSize, iSize);
        int iDone = 0;
        double dStart = twTimer_Seconds();
        twWorld_GatherSampleGeometry(w->bUseVbo);
        for (uint32_t i = 0; i < w->uiNumSurfaces && iDone < FLOOR_SAMPLES; i++) {
            TwSurface* S = w->ppSurfaces[i];
            if (S->bNoSampling)
                continue;
            twWorld_SelectSurface((int)i);
            for (int v = 0; v < S->usLuxelsV && iDone < FLOOR_SAMPLES; v++)
                for (int u = 0; u < S->usLuxelsU && iDone < FLOOR_SAMPLES; u++, iDone++) {
                    w->usSampleU = (uint16_t)u;
                    w->usSampleV = (uint16_t)v;
                    twWorld_PlaceSample(S);
                    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
                    twWorld_LookFromSample(S->fPlane, S->fPlaneV);
                    twWorld_DrawSampleGeometry();
                    glReadPixels(0, 0, iSize, iSize, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
                }
        }
        double d = (twTimer_Seconds() - dStart) / (iDone ? iDone : 1);
        dBest = d < dBest ? d : dBest;
        w->iCurrentSurface = -1;
        twWorld_EndSampling();
        twWorld_FreeSampleGeometry();
    }
    return dBest;
}

static void Bench(const char* pstrName, const TwExportModel& model, const std::string& dir, int iQuality,
                  int bBeside)
{
    if (!Load(model, dir, iQuality)) {
        printf("%s: FAILED to load and prepare\n", pstrName);
        twWorld_Free();
        return;
    }
    int iTriangles = 0;
    for (int m = 0; m < pWorld->iNumMeshes; m++)
        iTriangles += pWorld->ppMeshes[m]->usNumIndices / 3;
    // the first job on a model runs slower on a software renderer whatever its way: where
    // the ways are timed beside it, the chosen job comes last
    double adPath[TW_SAMPLE_NUM_PATHS] = {0, 0, 0, 0};
    for (int p = 0; bBeside && p < TW_SAMPLE_NUM_PATHS; p++) {
        double d = Job(p);
        adPath[p] = pWorld->iSamplePathTaken == p ? d : 0;
    }
    double dJob = Job(TW_SAMPLE_CHOOSE);
    int iSamples = pWorld->iSamplesTotal, iTaken = pWorld->iSamplePathTaken;
    printf("%s, quality %d: %d triangles, %d samples\n", pstrName, iQuality, iTriangles, iSamples);
    for (int p = 0; bBeside && p < TW_SAMPLE_NUM_PATHS; p++) {
        if (adPath[p] > 0)
            printf("  job, %-14s %8.2f s  %8.0f luxels/s  %6.1f us a sample\n", twWorld_SamplePathName(p), adPath[p],
                   iSamples / adPath[p], adPath[p] / iSamples * 1e6);
        else
            printf("  job, %-14s  (doesn't work with this driver)\n", twWorld_SamplePathName(p));
    }
    printf("  job, as chosen      %8.2f s  %8.0f luxels/s  (%s", dJob, iSamples / dJob, twWorld_SamplePathName(iTaken));
    if (pWorld->afSamplePathCost[iTaken] > 0) {
        printf("; trial, us a sample:");
        for (int p = 0; p < TW_SAMPLE_NUM_PATHS; p++)
            printf(" %s %.0f", twWorld_SamplePathName(p), pWorld->afSamplePathCost[p] * 1e6);
    }
    printf(")\n");
    if (bBeside) {
        double dFloor = Floor();
        printf("  floor               %8.2f s  %8.0f luxels/s  %6.1f us a sample  (bare picture and read-back; "
               "chosen job at %.2fx its time)\n",
               dFloor * iSamples, 1 / dFloor, dFloor * 1e6, dJob / (dFloor * iSamples));
    }
    twWorld_Free();
}

int main(int argc, char** argv)
{
    if (argc > 1)
        s_iRepeats = atoi(argv[1]) > 0 ? atoi(argv[1]) : 1;
    std::string dir = twBench_StartWorld();
    if (dir.empty() || !twWorld_InitShaders())
        return 1;
    // the first job in a process pays for the driver's start (programs built, buffers first
    // touched); timed alone, so that the cases below are the job's own
    double dFirst = 0, dAfter = 0;
    if (Load(twBench_Room(), dir, 0)) {
        int iRepeats = s_iRepeats;
        s_iRepeats = 1;
        dFirst = Job(TW_SAMPLE_BATCHED);
        dAfter = Job(TW_SAMPLE_BATCHED);
        s_iRepeats = iRepeats;
        twWorld_Free();
    }
    printf("driver start: first room job %.2f s, the next %.2f s: %.2f s of start apart from the job\n", dFirst,
           dAfter, dFirst - dAfter);
    Bench("room", twBench_Room(), dir, 0, 1);
    TwExportModel house = twBench_SampleHouse();
    Bench("house", house, dir, 0, 1);
    if (argc > 2 && !strcmp(argv[2], "quick")) {
        twHarness_StopWorld();
        return 0;
    }
    Bench("house", house, dir, 1, 0);
    Bench("house", house, dir, 2, 0);
    int iRepeats = s_iRepeats;
    s_iRepeats = 1;
    Bench("16 houses", twBench_Tiled(house, 4), dir, 0, 0);
    s_iRepeats = iRepeats;
    twHarness_StopWorld();
    return 0;
}
