// The IFC engine's stream on any bytes, as the exporter reads it: what it builds must hold
// only corners within its positions, and only finite positions.
#include <math.h>
#include <stdlib.h>

#include "tests/fuzz/fuzz_common.h"
#include "tools/export/export.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    FILE* pIn = FuzzOpen(pData, uiSize);
    if (!pIn)
        return 0;
    TwExportOptions options;
    TwExportScene scene;
    TwExportStats stats;
    std::string error;
    int bOk = twExportIfc_ReadStream(pIn, options, &scene, &stats, &error);
    fclose(pIn);
    if (!bOk && error.empty())
        abort();
    for (const TwExportSceneElement& e : scene.elements)
        for (const auto& soup : e.soups) {
            if (soup.first < 0 || (size_t)soup.first >= scene.materials.size() || e.iLayer < 0 ||
                (size_t)e.iLayer >= scene.layers.size() || soup.second.corners.size() % 3)
                abort();
            for (uint32_t c : soup.second.corners)
                if (c >= soup.second.positions.size() / 3)
                    abort();
            for (float f : soup.second.positions)
                if (!isfinite(f))
                    abort();
        }
    return 0;
}
