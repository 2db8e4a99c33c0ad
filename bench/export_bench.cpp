// Export speed: every IFC file of the shared samples beside the project (../shared/ifc),
// the sample house (IFC), a file of 40 MB made by repeating the samples' architecture model
// 180 times side by side, and 64 generated houses written as an OBJ file of about 350,000
// triangles. Prints seconds, peak memory (the largest process: the exporter or the IFC
// engine's Node) and sizes for each.
//
//   bench_export
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine/timer.h"
#include "tools/harness/samples.h"

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

// One export: its seconds, and the largest resident set of it and the engine it ran
static void Time(const std::string& name, const std::string& input, const std::string& output)
{
    struct stat st;
    if (stat(input.c_str(), &st) != 0)
        return;
    std::string exporter = std::string(AMB_BUILD_DIR) + "/ambexport";
    fflush(stdout); // or the child prints it again
    double dStart = twTimer_Seconds();
    pid_t iPid = fork();
    if (iPid == 0) {
        freopen("/dev/null", "w", stdout);
        execl(exporter.c_str(), exporter.c_str(), "-q", input.c_str(), "-o", output.c_str(), (char*)nullptr);
        _exit(127);
    }
    int iStatus = 0;
    struct rusage usage = {};
    wait4(iPid, &iStatus, 0, &usage);
    double dSeconds = twTimer_Seconds() - dStart;
    struct stat out = {};
    stat(output.c_str(), &out);
    printf("%-40s %6.1f MB in, %6.1f MB out: %7.3f s, peak %5.0f MB%s\n", name.c_str(), st.st_size / 1048576.0,
           out.st_size / 1048576.0, dSeconds, usage.ru_maxrss / 1024.0,
           WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0 ? "" : " (FAILED)");
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
    if (system(repeat.c_str()) == 0)
        Time("180 architecture models (IFC)", dir + "large.ifc", dir + "large.bin");
    WriteObj(twSample_GridHouses(8, 8), dir + "houses.obj");
    Time("64 houses (OBJ)", dir + "houses.obj", dir + "houses.bin");
    std::string clean = "rm -rf '" + dir + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
