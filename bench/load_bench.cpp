// Loading speed and memory: the sample house and the same house 16 times on a grid, as
// the exporter makes it (or, without the sample, a generated house).
// Prints the file's size, the time to read its bytes, the loader's reading, each
// post-load step, the total, and the peak memory of the process.
//
//   bench_load            (needs a display for the textures)
#include <stdio.h>
#include <sys/resource.h>

#include "bench/bench_models.h"
#include "engine/memory.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "tools/export/export.h"
#include "tools/harness/harness.h"
#include "tools/harness/samples.h"
#include "world/world.h"

static const char* s_apstrSteps[TW_LOAD_STEPS] = {"file read and parsed", "bounding volumes", "pointer arrays",
                                                   "material counts", "element groups", "group geometry",
                                                   "visibility boxes", "occluders", "tree result arrays",
                                                   "range arrays", "item tree", "physics tree"};

static void Bench(const char* pstrName, const TwExportModel& model, int bVbo, const std::string& dir)
{
    std::string path = dir + "bench.bin";
    twExport_WriteFile(model, path);
    double dStart = twTimer_Seconds();
    std::string bytes = twHarness_ReadFile(path);
    double dRead = twTimer_Seconds() - dStart;
    TwCamera camera;
    twCamera_Init(&camera);
    dStart = twTimer_Seconds();
    int bOk = twWorld_LoadModel(nullptr, path.c_str(), 0, &camera, nullptr, nullptr, nullptr, bVbo, nullptr);
    double dTotal = twTimer_Seconds() - dStart;
    printf("%s, vbo %s: %s\n", pstrName, bVbo ? "on" : "off", bOk ? "loaded" : "FAILED");
    printf("  file: %.1f MB, %d elements, %d meshes, %d triangles, %d element groups\n", bytes.size() / 1048576.0,
           pWorld->iNumElements, pWorld->iNumMeshes, pWorld->iNumTris, pWorld->iNumElementGroups);
    printf("  %-28s %8.4f s\n", "bytes from disk (cached)", dRead);
    for (int i = 0; i < TW_LOAD_STEPS; i++)
        if (s_apstrSteps[i][0])
            printf("  %-28s %8.4f s\n", s_apstrSteps[i], pWorld->afLoadSeconds[i]);
    printf("  %-28s %8.4f s\n", "model ready", dTotal);
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    printf("  peak memory of the process  %8.1f MB\n", usage.ru_maxrss / 1024.0);
    twWorld_Free();
}

int main(void)
{
    std::string dir = twBench_StartWorld();
    if (dir.empty())
        return 1;
    TwExportModel house = twBench_SampleHouse();
    Bench("house", house, 1, dir);
    TwExportModel tiled = twBench_Tiled(house, 4);
    Bench("16 houses", tiled, 1, dir);
    Bench("16 houses", tiled, 0, dir);
    twHarness_StopWorld();
    return 0;
}
