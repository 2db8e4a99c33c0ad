// The settings readers on any bytes (the settings, the sun's date and place, and the
// picture's choices), from a
// stream as a copy's pack gives it and from the user's own file; a load that passes must
// leave every setting within its range.
#include <stdlib.h>
#include <string.h>

#include <string>
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
            rewind(pFile);
            twEngine_LoadSaveSunPlace(pFile, (int64_t)uiSize, 0);
            rewind(pFile);
            twEngine_ReadPicture(pFile);
            fclose(pFile);
        } else {
            char szPath[128];
            snprintf(szPath, sizeof(szPath), "%sTemp/Settings.bin", s_szDir);
            FILE* pFile = fopen(szPath, "wb");
            fwrite(pData, 1, uiSize, pFile);
            fclose(pFile);
            twEngine_LoadSaveSettings(nullptr, 0);
            snprintf(szPath, sizeof(szPath), "%sTemp/Sun.bin", s_szDir);
            rename((std::string(s_szDir) + "Temp/Settings.bin").c_str(), szPath);
            twEngine_LoadSaveSunPlace(nullptr, 0, 0);
            rename(szPath, (std::string(s_szDir) + "Temp/Picture.bin").c_str());
            twEngine_LoadSavePicture(0);
        }
        // what a load takes is always in range, NaN included
        if (!(pCam->fFov == 0 || (pCam->fFov >= 10 && pCam->fFov <= 120)) ||
            !(pEngine->fLightGain == 0 || (pEngine->fLightGain >= 0 && pEngine->fLightGain <= 2)) ||
            pEngine->iBackgroundWanted < 0 || pEngine->iBackgroundWanted > 4)
            abort();
        if (pEngine->bSmoothEdges < 0 || pEngine->bSmoothEdges > 1 || pEngine->iShotFormat < 0 ||
            pEngine->iShotFormat > 1)
            abort();
        // a date and place taken puts the sun within the view page's ranges
        const TwSunPlace* p = &pEngine->sunPlace;
        if (p->iYear != 0) {
            if (!(p->fLatitude >= -90 && p->fLatitude <= 90) || p->iMonth < 1 || p->iMonth > 12)
                abort();
            twEngine_ApplySunPlace();
            if (pEngine->sunPlace.bFollow &&
                (pEngine->iSunAltitudeWanted < 10 || pEngine->iSunAltitudeWanted > 80 ||
                 pEngine->iSunAzimuthWanted < 1 || pEngine->iSunAzimuthWanted > 360))
                abort();
        }
    }
    twMem_Free(pCam);
    twMem_Free(pEngine);
    pCam = nullptr;
    pEngine = nullptr;
    return 0;
}
