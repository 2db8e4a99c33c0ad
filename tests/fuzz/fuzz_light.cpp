// The readers of the light's five files, and of the set record that binds them, on any bytes. The small sample house's frame is
// computed once and its result saved with every surface and mesh marked lit; each input
// then stands in for one of the files (its first byte says which), the others are the
// good ones, and the frame and the result are loaded and freed.
// Textures need a GL context, so this target opens a small window on the display that
// DISPLAY names. The good files are written as seeds into every folder given.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "engine/log.h"
#include "interface/layers.h"
#include "light/light.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "tests/fuzz/fuzz_common.h"
#include "tools/harness/samples.h"

#define NUM_FILES 6
static const char* s_apstrFiles[NUM_FILES] = {"LightInit.bin", "LightSort.bin", "LightEq.bin", "LightS.bin",
                                              "LightM.bin",    "LightSet.bin"};
static std::string s_good[NUM_FILES];
static char s_szTemp[64];

static std::string ReadAll(const std::string& path)
{
    std::string out;
    FILE* pFile = fopen(path.c_str(), "rb");
    char ac[4096];
    size_t n;
    while (pFile && (n = fread(ac, 1, sizeof(ac), pFile)) > 0)
        out.append(ac, n);
    if (pFile)
        fclose(pFile);
    return out;
}

static void WriteAll(const std::string& path, const void* pData, size_t uiSize)
{
    FILE* pFile = fopen(path.c_str(), "wb");
    if (!pFile)
        return;
    fwrite(pData, 1, uiSize, pFile);
    fclose(pFile);
}

extern "C" int LLVMFuzzerInitialize(int* piArgc, char*** pppArgv)
{
    char szDir[] = "/tmp/fuzz_light_XXXXXX";
    if (!mkdtemp(szDir))
        exit(1);
    std::string dir = std::string(szDir) + "/";
    snprintf(s_szTemp, sizeof(s_szTemp), "%sTemp/", dir.c_str());
    mkdir(s_szTemp, 0755);
    twTimer_Init();
    twCore_Init("Ambulon 2", "/nonexistent/Ambulon.exe");
    twCore_SetUserDir(dir.c_str()); // no switch file there: logging stays off
    twCore_SetDataDir(dir.c_str());
    twMem_Init(0);
    if (!twWindow_Init() || !twWindow_CreateGLWindow(64, 64, 0, 0) || !twOgl_Init(64, 64, 0) || !twLayers_Init(12)) {
        fprintf(stderr, "fuzz_light: no GL context; run it on a display\n");
        exit(1);
    }
    // the world's record with the light's settings, without the pack's textures
    pWorld = (TwWorld*)twMem_Malloc(sizeof(TwWorld), "pWorld");
    pWorld->iLightQuality = TW_LIGHT_QUALITY_DEFAULT;
    pWorld->fLightRangeInit = TW_LIGHT_RANGE_DEFAULT;
    pWorld->iLightmapSize = TW_LIGHTMAP_SIZE;
    std::string model = dir + "house.bin";
    TwExportModel house = twSample_SmallHouse();
    TwExportElement round = twSample_Box(5, 0, 5, 6, 1, 6, 4, 0); // a smooth mesh for vertex light
    round.meshes[0].bSmooth = 1;
    round.meshes[0].surfaces.clear();
    house.elements.push_back(round);
    twExport_WriteFile(house, model);
    if (!twWorld_LoadModel(nullptr, model.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1, nullptr) ||
        !twWorld_InitLight(1, nullptr)) {
        fprintf(stderr, "fuzz_light: the sample's light frame can't be computed\n");
        exit(1);
    }
    // a result in which every luxel and vertex light is read
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++)
        pWorld->ppSurfaces[i]->bLit = 1;
    for (int m = 0; m < pWorld->iNumMeshes; m++)
        pWorld->ppMeshes[m]->bLit = pWorld->ppMeshes[m]->bSmooth;
    for (int g = 0; g < pWorld->iNumElementGroups; g++)
        for (int r = 0; r < pWorld->pElementGroups[g].iNumRenderArrays; r++) {
            TwSurfaceArray* pArray = pWorld->pElementGroups[g].pRenderArrays[r].pSurfaceArray2;
            for (TwList* p = pArray ? pArray->pLightmapList->pNext : nullptr; p; p = p->pNext)
                ((TwLightmap*)p->pData)->bLit = 1;
        }
    if (!twWorld_SaveLight()) {
        fprintf(stderr, "fuzz_light: the sample's light can't be saved\n");
        exit(1);
    }
    twWorld_FreeRad();
    for (int i = 0; i < NUM_FILES; i++)
        s_good[i] = ReadAll(std::string(s_szTemp) + s_apstrFiles[i]);
    // the good files as seeds, each behind the byte that picks it
    for (int a = 1; a < *piArgc; a++) {
        struct stat st;
        const char* pstrArg = (*pppArgv)[a];
        if (pstrArg[0] == '-' || stat(pstrArg, &st) != 0 || !S_ISDIR(st.st_mode))
            continue;
        for (int i = 0; i < NUM_FILES; i++) {
            std::string seed = std::string(1, (char)i) + s_good[i];
            WriteAll(std::string(pstrArg) + "/good_" + s_apstrFiles[i], seed.data(), seed.size());
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    int iFile = uiSize ? pData[0] % NUM_FILES : 0;
    for (int i = 0; i < NUM_FILES; i++) {
        std::string path = std::string(s_szTemp) + s_apstrFiles[i];
        if (i == iFile)
            WriteAll(path, uiSize ? pData + 1 : pData, uiSize ? uiSize - 1 : 0);
        else
            WriteAll(path, s_good[i].data(), s_good[i].size());
    }
    // the set is settled as at start, but the files are read whatever it says: they are what is fuzzed
    twWorld_SettleLightSet();
    if (twWorld_InitLight(0, nullptr))
        twWorld_LoadLight(1, nullptr);
    twWorld_FreeRad();
    return 0;
}
