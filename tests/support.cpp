#include "tests/support.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "world/world.h"

static std::string s_dir;

std::string twTest_StartServices(int bTrack)
{
    char szTemplate[] = "/tmp/amb_test_XXXXXX";
    char* pstrDir = mkdtemp(szTemplate);
    s_dir = std::string(pstrDir ? pstrDir : "/tmp") + "/";
    twTest_WriteText(s_dir + TW_LOG_SWITCH_NAME, "");
    twTimer_Init();
    twCore_Init("Ambulon 2", (s_dir + "Ambulon.exe").c_str());
    twCore_SetUserDir(s_dir.c_str());
    twCore_SetDataDir(s_dir.c_str());
    twCore_SetLogFile((s_dir + TW_LOG_FILE_NAME).c_str());
    twMem_Init(bTrack);
    return s_dir;
}

void twTest_StopServices(void)
{
    twMem_Shutdown();
    twCore_Shutdown();
    twTimer_Shutdown();
}

std::string twTest_Dir(void)
{
    return s_dir;
}

std::string twTest_ReadFile(const std::string& path)
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

std::string twTest_ReadLog(void)
{
    return twTest_ReadFile(s_dir + TW_LOG_FILE_NAME);
}

std::vector<std::string> twTest_LogLines(void)
{
    std::vector<std::string> lines;
    std::string log = twTest_ReadLog();
    size_t uiStart = 0;
    while (uiStart < log.size()) {
        size_t uiEnd = log.find('\n', uiStart);
        if (uiEnd == std::string::npos)
            uiEnd = log.size();
        std::string line = log.substr(uiStart, uiEnd - uiStart);
        if (line.rfind("  ", 0) == 0)
            lines.push_back(line.substr(2));
        uiStart = uiEnd + 1;
    }
    return lines;
}

bool twTest_LogHas(const std::string& text)
{
    return twTest_ReadLog().find(text) != std::string::npos;
}

void twTest_WriteFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    FILE* pFile = fopen(path.c_str(), "wb");
    if (!pFile)
        return;
    if (!bytes.empty())
        fwrite(bytes.data(), 1, bytes.size(), pFile);
    fclose(pFile);
}

void twTest_WriteText(const std::string& path, const std::string& text)
{
    twTest_WriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
}

void twTest_PutU8(std::vector<uint8_t>* pOut, uint8_t v)
{
    pOut->push_back(v);
}

void twTest_PutU16(std::vector<uint8_t>* pOut, uint16_t v)
{
    twTest_PutBytes(pOut, &v, 2);
}

void twTest_PutU32(std::vector<uint8_t>* pOut, uint32_t v)
{
    twTest_PutBytes(pOut, &v, 4);
}

void twTest_PutBytes(std::vector<uint8_t>* pOut, const void* p, size_t n)
{
    const uint8_t* pucBytes = (const uint8_t*)p;
    pOut->insert(pOut->end(), pucBytes, pucBytes + n);
}

int twTest_MakePack(const std::string& output, const std::string& bare, const std::vector<std::string>& resources)
{
    std::string command = std::string("'") + AMB_MAKE_PACK + "' '" + output + "' '" + bare + "'";
    for (const std::string& r : resources)
        command += " '" + r + "'";
    int iStatus = system(command.c_str());
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
}

void twTest_StartGl(int iWidth, int iHeight)
{
    twTest_StartServices();
    snprintf(pCore->szExePath, TW_PATH_SIZE, "%s/Ambulon.exe", AMB_BUILD_DIR);
    if (!twWindow_Init() || !twWindow_CreateGLWindow(iWidth, iHeight, 0, 0) ||
        !twOgl_Init(iWidth, iHeight, twWindow_GetVideoMemorySize()) || !twOgl_InitFonts(nullptr, 0, "Arial", 13, 0)) {
        fprintf(stderr, "no GL for the tests: is DISPLAY set?\n");
        abort();
    }
}

void twTest_StopGl(void)
{
    twOgl_Free();
    twWindow_Free();
    twTest_StopServices();
}

int twTest_StartWorld(int iWidth, int iHeight, int bUseVbo)
{
    twTest_StartGl(iWidth, iHeight);
    return twLayers_Init(12) && twWorld_Init(iWidth, iHeight, bUseVbo);
}

void twTest_StopWorld(void)
{
    twWorld_Shutdown();
    twLayers_Free();
    twTest_StopGl();
}
