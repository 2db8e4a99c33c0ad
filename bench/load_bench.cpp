// Loading speed and memory: the sample house and the same house 16 times on a grid, as
// the exporter makes it (or, without the sample, a generated house).
// Prints the file's size, the time to read its bytes, the loader's reading, each
// post-load step, the total, and the peak memory of the process.
//
//   bench_load            (needs a display for the textures)
#include <stdio.h>
#include <unistd.h>
#include <sys/resource.h>

#include "engine/memory.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "tests/sample_model.h"
#include "tests/support.h"
#include "tools/export.h"
#include "world/world.h"

#define SAMPLE_HOUSE "/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc"
#define TILE_SPACING 30.0f // metres between the houses of the grid

static const char* s_apstrSteps[TW_LOAD_STEPS] = {"file read and parsed", "bounding volumes", "pointer arrays",
                                                   "material counts", "element groups", "group geometry",
                                                   "", "", "", "", "", ""};

// The house's elements repeated on a grid of n by n
static TwExportModel Tiled(const TwExportModel& house, int n)
{
    TwExportModel model = house;
    model.elements.clear();
    for (int x = 0; x < n; x++)
        for (int z = 0; z < n; z++)
            for (TwExportElement e : house.elements) {
                for (TwExportMesh& m : e.meshes)
                    for (TwExportVertex& v : m.verts) {
                        v.vPos[0] += x * TILE_SPACING;
                        v.vPos[2] += z * TILE_SPACING;
                    }
                model.elements.push_back(e);
            }
    return model;
}

static void Bench(const char* pstrName, const TwExportModel& model, int bVbo, const std::string& dir)
{
    std::string path = dir + "bench.bin";
    twExport_WriteFile(model, path);
    double dStart = twTimer_Seconds();
    std::string bytes = twTest_ReadFile(path);
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
    twTest_StartGl(64, 64);
    std::string dir = twTest_Dir();
    twLayers_Init(12);
    twWorld_Init(64, 64, 1);
    TwExportModel house;
    TwExportStats stats;
    std::string error;
    TwExportOptions options;
    if (access(SAMPLE_HOUSE, R_OK) != 0 || !twExportScene_Convert(SAMPLE_HOUSE, options, &house, &stats, &error)) {
        printf("(no sample house: a generated one stands in)\n");
        house = twTest_GridHouses(1, 1);
    }
    Bench("house", house, 1, dir);
    TwExportModel tiled = Tiled(house, 4);
    Bench("16 houses", tiled, 1, dir);
    Bench("16 houses", tiled, 0, dir);
    twWorld_Shutdown();
    twLayers_Free();
    twTest_StopGl();
    return 0;
}
