#include "tools/harness/harness.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "engine/core.h"
#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "tools/export/model_writer.h"
#include "world/world.h"

static std::string s_dir;

std::string twHarness_StartServices(int bTrack)
{
    char szTemplate[] = "/tmp/amb_test_XXXXXX";
    char* pstrDir = mkdtemp(szTemplate);
    s_dir = std::string(pstrDir ? pstrDir : "/tmp") + "/";
    twHarness_WriteText(s_dir + TW_LOG_SWITCH_NAME, "");
    twTimer_Init();
    twCore_Init("Ambulon 2", (s_dir + "Ambulon.exe").c_str());
    twCore_SetUserDir(s_dir.c_str());
    twCore_SetDataDir(s_dir.c_str());
    twCore_SetLogFile((s_dir + TW_LOG_FILE_NAME).c_str());
    twMem_Init(bTrack);
    return s_dir;
}

void twHarness_StopServices(void)
{
    twMem_Shutdown();
    twCore_Shutdown();
    twTimer_Shutdown();
}

std::string twHarness_Dir(void)
{
    return s_dir;
}

void twHarness_StartGl(int iWidth, int iHeight)
{
    twHarness_StartServices();
    snprintf(pCore->szExePath, TW_PATH_SIZE, "%s/Ambulon.exe", AMB_BUILD_DIR);
    if (!twWindow_Init() || !twWindow_CreateGLWindow(iWidth, iHeight, 1, 0) ||
        !twOgl_Init(iWidth, iHeight, twWindow_GetVideoMemorySize()) || !twOgl_InitFonts(nullptr, 0, "Arial", 13, 0)) {
        fprintf(stderr, "no GL for the tests: is DISPLAY set?\n");
        abort();
    }
}

void twHarness_StopGl(void)
{
    twOgl_Free();
    twWindow_Free();
    twHarness_StopServices();
}

int twHarness_StartWorld(int iWidth, int iHeight, int bUseVbo)
{
    twHarness_StartGl(iWidth, iHeight);
    return twLayers_Init(12) && twWorld_Init(iWidth, iHeight, bUseVbo);
}

void twHarness_StopWorld(void)
{
    twWorld_Shutdown();
    twLayers_Free();
    twHarness_StopGl();
}

int twHarness_StartEngine(int iWidth, int iHeight, const TwExportModel* pModel)
{
    twHarness_StartGl(iWidth, iHeight);
    std::string data = std::string(AMB_BUILD_DIR) + "/";
    twCore_SetDataDir(data.c_str());
    mkdir((s_dir + "Temp").c_str(), 0755);
    if (pModel && !twExport_WriteFile(*pModel, s_dir + "Temp/Export.bin"))
        return 0;
    twStrings_Init();
    return twStrings_ImportBin((data + "Data/Strings/Strings.bin").c_str()) && twEngine_InitEngine() &&
           twEngine_InitCamera() && twEngine_InitLayers() && twEngine_InitWorld() && twEngine_InitGallery();
}

std::string twHarness_ReadFile(const std::string& path)
{
    std::string out;
    FILE* pFile = fopen(path.c_str(), "rb");
    if (!pFile)
        return out;
    char acBuf[4096];
    size_t n;
    while ((n = fread(acBuf, 1, sizeof(acBuf), pFile)) > 0)
        out.append(acBuf, n);
    fclose(pFile);
    return out;
}

void twHarness_WriteFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    FILE* pFile = fopen(path.c_str(), "wb");
    if (!pFile)
        return;
    if (!bytes.empty())
        fwrite(bytes.data(), 1, bytes.size(), pFile);
    fclose(pFile);
}

void twHarness_WriteText(const std::string& path, const std::string& text)
{
    twHarness_WriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
}
