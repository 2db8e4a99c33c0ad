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

TwExportModel twBench_Room(void)
{
    TwExportModel m;
    TwExportMaterial plain;
    plain.name = "Plain";
    m.materials = {plain};
    m.layers = {"Room"};
    const float fThick = 0.2f, fHeight = 3;
    for (int x = 0; x < 10; x++)
        for (int z = 0; z < 8; z++) {
            m.elements.push_back(twSample_Box(x, -fThick, z, x + 1, 0, z + 1, 2, 0));
            m.elements.push_back(twSample_Box(x, fHeight, z, x + 1, fHeight + fThick, z + 1, 3, 0));
        }
    // the long walls in two rows of panels, the short ones in one
    for (int x = 0; x < 10; x++)
        for (int r = 0; r < 2; r++) {
            float y0 = r * fHeight / 2, y1 = y0 + fHeight / 2;
            m.elements.push_back(twSample_Box(x, y0, -fThick, x + 1, y1, 0, 1, 0));
            m.elements.push_back(twSample_Box(x, y0, 8, x + 1, y1, 8 + fThick, 1, 0));
        }
    for (int z = 0; z < 8; z++) {
        m.elements.push_back(twSample_Box(-fThick, 0, z, 0, fHeight, z + 1, 1, 0));
        m.elements.push_back(twSample_Box(10, 0, z, 10 + fThick, fHeight, z + 1, 1, 0));
    }
    for (int i = 0; i < 8; i++) {
        float x = 1 + (i % 4) * 2.2f, z = 1.5f + (i / 4) * 3.5f;
        m.elements.push_back(twSample_Box(x, 0, z, x + 0.8f, 0.5f + 0.15f * i, z + 1.2f, 4, 0));
    }
    return m;
}
