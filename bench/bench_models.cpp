#include "bench/bench_models.h"

#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/export/export.h"
#include "tools/harness/harness.h"
#include "tools/harness/samples.h"

std::string twBench_StartWorld(void)
{
    if (!twHarness_StartWorld(64, 64, 1)) {
        printf("the world didn't start\n");
        return "";
    }
    std::string dir = twHarness_Dir();
    mkdir((dir + "Temp").c_str(), 0755);
    return dir;
}

TwExportModel twBench_SampleHouse(void)
{
    TwExportModel house;
    TwExportStats stats;
    std::string error;
    TwExportOptions options;
    if (access(TW_SAMPLE_HOUSE, R_OK) != 0 ||
        !twExportScene_Convert(TW_SAMPLE_HOUSE, options, &house, &stats, &error)) {
        printf("(no sample house: a generated one stands in)\n");
        house = twSample_GridHouses(1, 1);
    }
    return house;
}

TwExportModel twBench_Tiled(const TwExportModel& house, int n)
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
