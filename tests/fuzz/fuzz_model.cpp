// The model loader and the post-load pipeline on any bytes. Textures need a GL context,
// so this target opens a small window on the display that DISPLAY names.
#include <stdlib.h>
#include <unistd.h>

#include "engine/log.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "tests/fuzz/fuzz_common.h"
#include "world/world.h"

static char s_szPath[64];

extern "C" int LLVMFuzzerInitialize(int* piArgc, char*** pppArgv)
{
    (void)piArgc;
    (void)pppArgv;
    FuzzStartServices();
    if (!twWindow_Init() || !twWindow_CreateGLWindow(64, 64, 0, 0) || !twOgl_Init(64, 64, 0) || !twLayers_Init(12)) {
        fprintf(stderr, "fuzz_model: no GL context; run it on a display\n");
        exit(1);
    }
    // the loader needs the record only, not the world's own textures
    pWorld = (TwWorld*)twMem_Malloc(sizeof(TwWorld), "pWorld");
    snprintf(s_szPath, sizeof(s_szPath), "/tmp/fuzz_model_%d.bin", (int)getpid());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FILE* pFile = fopen(s_szPath, "wb");
    if (!pFile)
        return 0;
    fwrite(pData, 1, uiSize, pFile);
    fclose(pFile);
    TwCamera camera;
    twCamera_Init(&camera);
    int iAltitude, iAzimuth, iStatus;
    char szName[TW_PATH_SIZE];
    twWorld_LoadModel(nullptr, s_szPath, 0, &camera, szName, &iAltitude, &iAzimuth, 0, &iStatus);
    twWorld_Free();
    return 0;
}
