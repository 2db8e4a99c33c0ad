#include "tests/support.h"

#include <GL/glew.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "engine/log.h"

std::string twTest_ReadLog(void)
{
    return twHarness_ReadFile(twHarness_Dir() + TW_LOG_FILE_NAME);
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

std::string twTest_MakeCopy(const std::string& name, const TwExportModel& model, const std::vector<std::string>& files)
{
    std::string dir = twHarness_Dir(), modelPath = dir + "Export.bin";
    twExport_WriteFile(model, modelPath);
    twHarness_WriteText(dir + "bare", "program");
    std::vector<std::string> resources = {modelPath};
    resources.insert(resources.end(), files.begin(), files.end());
    twTest_MakePack(dir + name, dir + "bare", resources);
    return dir + name;
}

void twTest_StubZenity(const std::string& output, int iStatus)
{
    static std::string s_path = getenv("PATH") ? getenv("PATH") : "";
    if (iStatus < 0) {
        setenv("PATH", s_path.c_str(), 1);
        return;
    }
    std::string bin = twHarness_Dir() + "bin";
    mkdir(bin.c_str(), 0755);
    twHarness_WriteText(bin + "/zenity", "#!/bin/sh\necho '" + output + "'\nexit " + std::to_string(iStatus) + "\n");
    chmod((bin + "/zenity").c_str(), 0755);
    setenv("PATH", (bin + ":" + s_path).c_str(), 1);
}

void twTest_PixelView(int w, int h)
{
    glViewport(0, 0, w, h);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, w, 0, h, 1, -1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glDisable(GL_DEPTH_TEST);
}
