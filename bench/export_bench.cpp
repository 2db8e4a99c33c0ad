// Export speed: every IFC file of the shared samples beside the project (../shared/ifc),
// the sample house (IFC), a file of 40 MB made by repeating the samples' architecture model
// 180 times side by side, 64 generated houses written as an OBJ file of about 350,000
// triangles, and the samples' three discipline models made one, then one by one. Prints
// seconds, peak memory (the exporter and its IFC engines together, sampled every 10 ms)
// and sizes for each.
//
//   bench_export
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine/memory.h"
#include "engine/timer.h"
#include "navigation/camera.h"
#include "tools/harness/harness.h"
#include "tools/harness/samples.h"
#include "world/world.h"

static void WriteObj(const TwExportModel& model, const std::string& path)
{
    FILE* pFile = fopen(path.c_str(), "w");
    int iBase = 1, iElement = 0;
    for (const TwExportElement& e : model.elements) {
        fprintf(pFile, "o %s_%d\n", e.iType == 5 ? "Door" : e.iType == 1 ? "Wall" : "Part", iElement++);
        for (const TwExportMesh& m : e.meshes) {
            for (const TwExportVertex& v : m.verts)
                fprintf(pFile, "v %.4f %.4f %.4f\n", v.vPos[0], v.vPos[1], v.vPos[2]);
            for (size_t i = 0; i < m.indices.size(); i += 3)
                fprintf(pFile, "f %d %d %d\n", iBase + m.indices[i], iBase + m.indices[i + 1], iBase + m.indices[i + 2]);
            iBase += (int)m.verts.size();
        }
    }
    fclose(pFile);
}

// Kilobytes resident in a process and its children (the IFC engines it runs)
static long ResidentWithChildren(pid_t iPid)
{
    long lSum = 0;
    DIR* pDir = opendir("/proc");
    while (struct dirent* pEntry = pDir ? readdir(pDir) : nullptr) {
        char szPath[300], szStat[512];
        snprintf(szPath, sizeof(szPath), "/proc/%s/stat", pEntry->d_name);
        FILE* pFile = pEntry->d_name[0] >= '0' && pEntry->d_name[0] <= '9' ? fopen(szPath, "r") : nullptr;
        if (!pFile)
            continue;
        size_t uiGot = fread(szStat, 1, sizeof(szStat) - 1, pFile);
        fclose(pFile);
        szStat[uiGot] = 0;
        // after the name's closing bracket: state, parent, ... the 24th field is the resident pages
        const char* pAfter = strrchr(szStat, ')');
        int iParent = 0;
        long lPages = 0;
        if (!pAfter || sscanf(pAfter + 2, "%*c %d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d "
                                          "%*u %*u %ld", &iParent, &lPages) != 2)
            continue;
        if (atoi(pEntry->d_name) == iPid || iParent == iPid)
            lSum += lPages * (sysconf(_SC_PAGESIZE) / 1024);
    }
    if (pDir)
        closedir(pDir);
    return lSum;
}

// One export of one or several inputs: its seconds, and the peak memory of it and its engines
static void Time(const std::string& name, const std::vector<std::string>& inputs, const std::string& output,
                 const char* pstrOption = nullptr)
{
    struct stat st;
    double dInput = 0;
    for (const std::string& input : inputs) {
        if (stat(input.c_str(), &st) != 0)
            return;
        dInput += st.st_size / 1048576.0;
    }
    std::string exporter = std::string(AMB_BUILD_DIR) + "/ambexport";
    std::vector<const char*> args = {exporter.c_str(), "-q", "-o", output.c_str()};
    if (pstrOption)
        args.push_back(pstrOption);
    for (const std::string& input : inputs)
        args.push_back(input.c_str());
    args.push_back(nullptr);
    fflush(stdout); // or the child prints it again
    double dStart = twTimer_Seconds();
    pid_t iPid = fork();
    if (iPid == 0) {
        freopen("/dev/null", "w", stdout);
        execv(exporter.c_str(), (char* const*)args.data());
        _exit(127);
    }
    int iStatus = 0;
    long lPeak = 0;
    while (waitpid(iPid, &iStatus, WNOHANG) == 0) {
        lPeak = std::max(lPeak, ResidentWithChildren(iPid));
        usleep(10000);
    }
    double dSeconds = twTimer_Seconds() - dStart;
    struct stat out = {}, properties = {};
    stat(output.c_str(), &out);
    std::string side = output.substr(0, output.rfind('.')) + ".properties";
    int bProperties = stat(side.c_str(), &properties) == 0;
    printf("%-40s %6.1f MB in, %6.1f MB out: %7.3f s, peak %5.0f MB", name.c_str(), dInput, out.st_size / 1048576.0,
           dSeconds, lPeak / 1024.0);
    if (bProperties)
        printf(", properties %.1f MB", properties.st_size / 1048576.0);
    printf("%s\n", WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0 ? "" : " (FAILED)");
}

static void Time(const std::string& name, const std::string& input, const std::string& output)
{
    Time(name, std::vector<std::string>{input}, output);
}

int main(void)
{
    char szDir[] = "/tmp/amb_bench_XXXXXX";
    if (!mkdtemp(szDir))
        return 1;
    std::string dir = std::string(szDir) + "/";
    std::string samples = std::string(AMB_SOURCE_DIR) + "/../shared/ifc/";
    std::vector<std::string> files;
    if (DIR* pDir = opendir(samples.c_str())) {
        while (struct dirent* pEntry = readdir(pDir)) {
            std::string entry = pEntry->d_name;
            if (entry.size() > 4 && entry.compare(entry.size() - 4, 4, ".ifc") == 0)
                files.push_back(entry);
        }
        closedir(pDir);
    }
    std::sort(files.begin(), files.end());
    if (files.empty())
        printf("no IFC samples in %s\n", samples.c_str());
    for (const std::string& file : files)
        Time(file, samples + file, dir + "sample.bin");
    if (access(TW_SAMPLE_HOUSE, R_OK) == 0)
        Time("sample house (IFC)", TW_SAMPLE_HOUSE, dir + "house.bin");
    std::string repeat = std::string(AMB_BUILD_DIR) + "/ifc_repeat '" + samples + "Building-Architecture.ifc' 180 30 '" +
                         dir + "large.ifc'";
    if (system(repeat.c_str()) == 0) {
        Time("180 architecture models (IFC)", dir + "large.ifc", dir + "large.bin");
        Time("  the same without properties", {dir + "large.ifc"}, dir + "bare.bin", "--no-properties");
        // what the viewer pays for them: the table read with the model, an element's text at its pick
        if (twHarness_StartWorld(64, 64, 0)) {
            TwCamera camera;
            twCamera_Init(&camera);
            if (twWorld_LoadModel(nullptr, (dir + "large.bin").c_str(), 0, &camera, nullptr, nullptr, nullptr, 0,
                                  nullptr)) {
                double dStart = twTimer_Seconds();
                int bInfo = twWorld_LoadElementInfo((dir + "large.bin").c_str());
                double dInfo = twTimer_Seconds() - dStart;
                dStart = twTimer_Seconds();
                char* pText = twWorld_GetElementProperties(pWorld->iNumElements / 2, nullptr);
                double dPick = twTimer_Seconds() - dStart;
                printf("  viewer: side files read in %.4f s (%s, properties %s), an element's values in %.5f s "
                       "(%zu bytes)\n", dInfo, bInfo ? "names" : "no names", pWorld->pProperties ? "read" : "none",
                       dPick, pText ? strlen(pText) : (size_t)0);
                twMem_Free(pText);
            }
            twHarness_StopWorld();
        }
    }
    WriteObj(twSample_GridHouses(8, 8), dir + "houses.obj");
    Time("64 houses (OBJ)", dir + "houses.obj", dir + "houses.bin");
    // several models: read side by side, against one after another
    std::vector<std::string> project;
    for (const char* pstrModel : {"Architecture", "Structural", "Hvac"})
        project.push_back(samples + "Building-" + pstrModel + ".ifc");
    if (access(project[2].c_str(), R_OK) == 0) {
        double dStart = twTimer_Seconds();
        Time("the three models made one", project, dir + "project.bin");
        double dTogether = twTimer_Seconds() - dStart;
        dStart = twTimer_Seconds();
        for (const std::string& model : project)
            Time("  " + model.substr(model.rfind('/') + 1) + " alone", model, dir + "one.bin");
        printf("three together %.3f s, one by one %.3f s\n", dTogether, twTimer_Seconds() - dStart);
    }
    std::string clean = "rm -rf '" + dir + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
