// Export speed: the sample house (IFC) and a large model, 64 generated houses written as
// an OBJ file of about 350,000 triangles. Prints seconds and sizes for each.
//
//   bench_export
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

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

static void Time(const char* pstrName, const std::string& input, const std::string& output)
{
    struct stat st;
    stat(input.c_str(), &st);
    std::string command = std::string(AMB_BUILD_DIR) + "/ambexport -q '" + input + "' -o '" + output + "'";
    double dStart = twTimer_Seconds();
    int iStatus = system(command.c_str());
    double dSeconds = twTimer_Seconds() - dStart;
    struct stat out;
    stat(output.c_str(), &out);
    printf("%-24s %6.1f MB in, %6.1f MB out: %7.3f s%s\n", pstrName, st.st_size / 1048576.0, out.st_size / 1048576.0,
           dSeconds, iStatus ? " (FAILED)" : "");
}

int main(void)
{
    char szDir[] = "/tmp/amb_bench_XXXXXX";
    if (!mkdtemp(szDir))
        return 1;
    std::string dir = std::string(szDir) + "/";
    if (access(TW_SAMPLE_HOUSE, R_OK) == 0)
        Time("sample house (IFC)", TW_SAMPLE_HOUSE, dir + "house.bin");
    WriteObj(twSample_GridHouses(8, 8), dir + "houses.obj");
    Time("64 houses (OBJ)", dir + "houses.obj", dir + "houses.bin");
    return 0;
}
