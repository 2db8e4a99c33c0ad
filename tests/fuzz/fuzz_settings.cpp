// The settings reader on any bytes, from a stream as a copy's pack gives it and from the
// user's own file; a load that passes must leave every setting within its range.
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "engine/engine.h"
#include "navigation/camera.h"
#include "tests/fuzz/fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    static char s_szDir[64];
    if (!s_szDir[0]) {
        snprintf(s_szDir, sizeof(s_szDir), "/tmp/amb_fuzz_settings_XXXXXX");
        if (!mkdtemp(s_szDir))
            abort();
        char szTemp[96];
        snprintf(szTemp, sizeof(szTemp), "%s/Temp", s_szDir);
        mkdir(szTemp, 0755);
        strcat(s_szDir, "/");
        twCore_SetUserDir(s_szDir);
    }
    pEngine = (TwEngine*)twMem_Malloc(sizeof(TwEngine), "pEngine");
    pCam = (TwCamera*)twMem_Malloc(sizeof(TwCamera), "pCam");
    for (int bStream = 0; bStream <= 1; bStream++) {
        if (bStream) {
            FILE* pFile = FuzzOpen(pData, uiSize);
            if (!pFile)
                break;
            twEngine_LoadSaveSettings(pFile, 0);
            fclose(pFile);
        } else {
            char szPath[128];
            snprintf(szPath, sizeof(szPath), "%sTemp/Settings.bin", s_szDir);
            FILE* pFile = fopen(szPath, "wb");
            fwrite(pData, 1, uiSize, pFile);
            fclose(pFile);
            twEngine_LoadSaveSettings(nullptr, 0);
        }
        // what a load takes is always in range, NaN included
        if (!(pCam->fFov == 0 || (pCam->fFov >= 10 && pCam->fFov <= 120)) ||
            !(pEngine->fLightGain == 0 || (pEngine->fLightGain >= 0 && pEngine->fLightGain <= 2)) ||
            pEngine->iBackgroundWanted < 0 || pEngine->iBackgroundWanted > 4)
            abort();
    }
    twMem_Free(pCam);
    twMem_Free(pEngine);
    pCam = nullptr;
    pEngine = nullptr;
    return 0;
}
