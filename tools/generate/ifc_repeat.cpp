// Makes a large IFC file of a small one for the export benchmark: the building repeated on
// a row, each copy moved along X, its entities numbered anew and its GlobalIds made its own.
//
//   ifc_repeat <in.ifc> <copies> <metres apart> <out.ifc>
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

static bool ReadWhole(const char* pstrPath, std::string* pOut)
{
    FILE* pFile = fopen(pstrPath, "rb");
    if (!pFile)
        return false;
    char acBuf[65536];
    size_t n;
    while ((n = fread(acBuf, 1, sizeof(acBuf), pFile)) > 0)
        pOut->append(acBuf, n);
    fclose(pFile);
    return true;
}

// The DATA section's text with every "#n" outside strings raised by iShift, and each GlobalId
// given the copy's number in its first two characters
static std::string Renumber(const std::string& data, long lShift, int iCopy)
{
    static const char s_acBase64[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
    std::string out;
    out.reserve(data.size() + data.size() / 8);
    bool bInString = false;
    for (size_t i = 0; i < data.size(); i++) {
        char c = data[i];
        if (c == '\'') {
            // a GlobalId: an entity's first field, 22 characters between quotes
            if (!bInString && i >= 2 && data[i - 1] == '(' && isalpha((unsigned char)data[i - 2]) &&
                i + 23 < data.size() && data[i + 23] == '\'') {
                std::string id = data.substr(i + 1, 22);
                id[0] = s_acBase64[(iCopy / 64) % 64];
                id[1] = s_acBase64[iCopy % 64];
                out += "'" + id + "'";
                i += 23;
                continue;
            }
            bInString = !bInString;
        }
        if (!bInString && c == '#' && i + 1 < data.size() && isdigit((unsigned char)data[i + 1])) {
            char* pEnd = nullptr;
            long lId = strtol(data.c_str() + i + 1, &pEnd, 10);
            out += "#" + std::to_string(lId + lShift);
            i = (size_t)(pEnd - data.c_str()) - 1;
            continue;
        }
        out += c;
    }
    return out;
}

int main(int argc, char** argv)
{
    if (argc != 5) {
        fprintf(stderr, "usage: ifc_repeat <in.ifc> <copies> <metres apart> <out.ifc>\n");
        return 2;
    }
    std::string text;
    int iCopies = atoi(argv[2]);
    double dApart = atof(argv[3]);
    size_t uiData = std::string::npos, uiEnd = std::string::npos;
    if (!ReadWhole(argv[1], &text) || (uiData = text.find("\nDATA;")) == std::string::npos ||
        (uiEnd = text.rfind("ENDSEC;")) == std::string::npos || uiEnd < uiData || iCopies < 1) {
        fprintf(stderr, "ifc_repeat: '%s' isn't an IFC file to repeat\n", argv[1]);
        return 1;
    }
    uiData += 7;
    std::string data = text.substr(uiData, uiEnd - uiData);
    long lMax = 0;
    for (size_t i = data.find('#'); i != std::string::npos; i = data.find('#', i + 1))
        lMax = std::max(lMax, strtol(data.c_str() + i + 1, nullptr, 10));
    FILE* pOut = fopen(argv[4], "wb");
    if (!pOut)
        return 1;
    fwrite(text.data(), 1, uiData, pOut);
    long lStep = lMax + 10;
    for (int k = 0; k < iCopies; k++) {
        std::string copy = Renumber(data, k * lStep, k);
        // each copy's outermost placement (the one without a parent) stands apart on the X axis
        long lPoint = (long)(iCopies)*lStep + 2 * k + 1, lAxes = lPoint + 1;
        std::string root = "IFCLOCALPLACEMENT($,#";
        size_t uiAt = copy.find(root);
        if (uiAt != std::string::npos && k > 0) {
            size_t uiNumber = uiAt + root.size(), uiClose = copy.find(')', uiNumber);
            copy.replace(uiNumber, uiClose - uiNumber, std::to_string(lAxes));
            fprintf(pOut, "#%ld=IFCCARTESIANPOINT((%.3f,0.,0.));\n#%ld=IFCAXIS2PLACEMENT3D(#%ld,$,$);\n", lPoint,
                    k * dApart, lAxes, lPoint);
        }
        fwrite(copy.data(), 1, copy.size(), pOut);
    }
    fwrite(text.data() + uiEnd, 1, text.size() - uiEnd, pOut);
    return fclose(pOut) == 0 ? 0 : 1;
}
