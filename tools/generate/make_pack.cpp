// Appends a resource pack to a program file: the program's bytes, then the resources in
// the order given, the directory, the count and "TWRS". The directory ends with an entry
// "Master" whose size is the length of the bare program, which publishing copies from.
//
//   make_pack <output> <bare program> <resource file>...
//
// A resource is named by its file name without folders. The output is written to a
// temporary file and renamed into place, marked executable.
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "engine/core.h"
#include "engine/writer.h"

#define PACK_NAME_SIZE 512

struct Entry {
    char szName[PACK_NAME_SIZE];
    uint32_t uiOffset;
    uint32_t uiSize;
};
static_assert(sizeof(Entry) == 520, "pack entry mirrors the file");

static bool ReadWhole(const char* pstrPath, std::vector<uint8_t>* pData)
{
    FILE* pFile = fopen(pstrPath, "rb");
    if (!pFile)
        return false;
    uint8_t aucBuf[65536];
    size_t uiRead;
    while ((uiRead = fread(aucBuf, 1, sizeof(aucBuf), pFile)) > 0)
        pData->insert(pData->end(), aucBuf, aucBuf + uiRead);
    bool bOk = !ferror(pFile);
    fclose(pFile);
    return bOk;
}

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: make_pack <output> <bare program> <resource file>...\n");
        return 2;
    }
    std::vector<uint8_t> out;
    if (!ReadWhole(argv[2], &out)) {
        fprintf(stderr, "make_pack: can't read '%s'\n", argv[2]);
        return 1;
    }
    uint32_t uiMasterSize = (uint32_t)out.size();
    std::vector<Entry> entries;
    for (int i = 3; i < argc; i++) {
        Entry e;
        memset(&e, 0, sizeof(e));
        const char* pstrName = twCore_BaseName(argv[i]);
        if (strlen(pstrName) >= PACK_NAME_SIZE) {
            fprintf(stderr, "make_pack: name too long '%s'\n", pstrName);
            return 1;
        }
        strcpy(e.szName, pstrName);
        e.uiOffset = (uint32_t)out.size();
        if (!ReadWhole(argv[i], &out)) {
            fprintf(stderr, "make_pack: can't read '%s'\n", argv[i]);
            return 1;
        }
        e.uiSize = (uint32_t)(out.size() - e.uiOffset);
        entries.push_back(e);
    }
    Entry master;
    memset(&master, 0, sizeof(master));
    strcpy(master.szName, "Master");
    master.uiOffset = 0;
    master.uiSize = uiMasterSize;
    entries.push_back(master);
    for (const Entry& e : entries) {
        const uint8_t* p = (const uint8_t*)&e;
        out.insert(out.end(), p, p + sizeof(e));
    }
    int32_t iCount = (int32_t)entries.size();
    const uint8_t* pCount = (const uint8_t*)&iCount;
    out.insert(out.end(), pCount, pCount + 4);
    out.insert(out.end(), {'T', 'W', 'R', 'S'});

    // a program: it may run once it has its name
    TwWriter writer;
    if (!twWriter_Open(&writer, argv[1]) || !twWriter_Write(&writer, out.data(), (int64_t)out.size()) ||
        !twWriter_Finish(&writer) || chmod(writer.szTempPath, 0755) != 0 || !twWriter_Commit(&writer)) {
        twWriter_Abandon(&writer);
        fprintf(stderr, "make_pack: can't write '%s'\n", argv[1]);
        return 1;
    }
    return 0;
}
