// Compiles a text file of the viewer's words into "Strings.bin".
//
//   make_strings <source.txt> <Strings.bin>
//
// Source lines: "@language N", "@charset N", "@face Name", "@height N", "@yoffset N", and
// "<id><tab><text>" for each text; "#" starts a comment line. The output is written to a
// temporary file and renamed, so a failed run leaves the old table in place.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "engine/writer.h"

struct Record {
    int32_t iId;
    std::string text;
};

static void Fail(const char* pstrWhy, const char* pstrWhere, int iLine)
{
    fprintf(stderr, "make_strings: %s:%d: %s\n", pstrWhere, iLine, pstrWhy);
    exit(1);
}

static void PutI32(std::vector<uint8_t>* pOut, int32_t iValue)
{
    uint8_t b[4];
    memcpy(b, &iValue, 4);
    pOut->insert(pOut->end(), b, b + 4);
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: make_strings <source.txt> <Strings.bin>\n");
        return 2;
    }
    FILE* pIn = fopen(argv[1], "rb");
    if (!pIn) {
        fprintf(stderr, "make_strings: can't open '%s'\n", argv[1]);
        return 1;
    }
    int32_t iLanguage = 0, iCharset = 0, iHeight = 13, iYOffset = 0;
    char szFace[512] = "Arial";
    std::vector<Record> records;
    std::vector<bool> seen(600, false);
    char szLine[4096];
    int iLine = 0;
    while (fgets(szLine, sizeof(szLine), pIn)) {
        iLine++;
        size_t uiLen = strlen(szLine);
        while (uiLen && (szLine[uiLen - 1] == '\n' || szLine[uiLen - 1] == '\r'))
            szLine[--uiLen] = 0;
        if (!uiLen || szLine[0] == '#')
            continue;
        if (szLine[0] == '@') {
            char szKey[32], szValue[512];
            if (sscanf(szLine, "@%31s %511[^\n]", szKey, szValue) != 2)
                Fail("header line needs a key and a value", argv[1], iLine);
            if (!strcmp(szKey, "language"))
                iLanguage = atoi(szValue);
            else if (!strcmp(szKey, "charset"))
                iCharset = atoi(szValue);
            else if (!strcmp(szKey, "height"))
                iHeight = atoi(szValue);
            else if (!strcmp(szKey, "yoffset"))
                iYOffset = atoi(szValue);
            else if (!strcmp(szKey, "face"))
                snprintf(szFace, sizeof(szFace), "%s", szValue);
            else
                Fail("unknown header key", argv[1], iLine);
            continue;
        }
        char* pTab = strchr(szLine, '\t');
        char* pEnd = nullptr;
        long iId = strtol(szLine, &pEnd, 10);
        if (!pTab || pEnd != pTab)
            Fail("expected <id><tab><text>", argv[1], iLine);
        // the viewer's table has 600 slots and refuses slot 600 itself
        if (iId < 1 || iId > 599)
            Fail("id must lie from 1 to 599", argv[1], iLine);
        if (seen[iId])
            Fail("id given twice", argv[1], iLine);
        seen[iId] = true;
        records.push_back({(int32_t)iId, std::string(pTab + 1)});
    }
    fclose(pIn);

    std::vector<uint8_t> out;
    out.push_back('S');
    PutI32(&out, iLanguage);
    PutI32(&out, iCharset);
    PutI32(&out, iHeight);
    PutI32(&out, iYOffset);
    size_t uiFace = out.size();
    out.resize(uiFace + 512, 0);
    memcpy(&out[uiFace], szFace, strlen(szFace));
    PutI32(&out, (int32_t)records.size());
    for (const Record& r : records) {
        PutI32(&out, r.iId);
        PutI32(&out, (int32_t)r.text.size());
        out.insert(out.end(), r.text.begin(), r.text.end());
    }
    TwWriter writer;
    if (!twWriter_Open(&writer, argv[2]) || !twWriter_Write(&writer, out.data(), (int64_t)out.size()) ||
        !twWriter_Close(&writer)) {
        fprintf(stderr, "make_strings: can't write '%s'\n", argv[2]);
        return 1;
    }
    return 0;
}
