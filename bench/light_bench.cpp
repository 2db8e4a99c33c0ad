// Preparing the light: the time of twWorld_InitLight's build (surfaces, rectangles, the
// range test, packing, the frame files) on the sample house and on 16 of them on a grid,
// computed and then read back from the files it wrote.
//
//   bench_light           (needs a display for the lightmaps)
#include <stdio.h>

#include "bench/bench_models.h"
#include "engine/timer.h"
#include "light/light.h"
#include "tools/export/export.h"
#include "tools/harness/harness.h"
#include "world/world.h"

static double Prepare(int bNewInit)
{
    double dStart = twTimer_Seconds();
    int bOk = twWorld_InitLight(bNewInit, nullptr);
    double d = twTimer_Seconds() - dStart;
    return bOk ? d : -1;
}

static void Bench(const char* pstrName, const TwExportModel& model, const std::string& dir)
{
    std::string path = dir + "bench.bin";
    twExport_WriteFile(model, path);
    if (!twWorld_LoadModel(nullptr, path.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1, nullptr)) {
        printf("%s: FAILED to load\n", pstrName);
        return;
    }
    // as after the frames that come before a light job
    for (int g = 0; g < pWorld->iNumElementGroups; g++)
        pWorld->pElementGroups[g].uiVisibleFrame = 1;
    double dComputed = Prepare(1);
    int iSampled = 0;
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++)
        iSampled += !pWorld->ppSurfaces[i]->bNoSampling;
    printf("%s: %u surfaces (%d to sample), %d lightmaps\n", pstrName, pWorld->uiNumSurfaces, iSampled,
           twWorld_CountLightmaps());
    twWorld_FreeRad();
    double dLoaded = Prepare(0);
    printf("  computed and written   %8.4f s\n", dComputed);
    printf("  read back              %8.4f s\n", dLoaded);
    twWorld_Free();
}

int main(void)
{
    std::string dir = twBench_StartWorld();
    if (dir.empty())
        return 1;
    TwExportModel house = twBench_SampleHouse();
    Bench("house", house, dir);
    Bench("16 houses", twBench_Tiled(house, 4), dir);
    twHarness_StopWorld();
    return 0;
}
