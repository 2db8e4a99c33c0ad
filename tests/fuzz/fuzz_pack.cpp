// Resource lookups on a program file of any content.
#include <stdlib.h>
#include <unistd.h>

#include "tests/fuzz/fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    char szPath[] = "/tmp/fuzz_pack_XXXXXX";
    int iFd = mkstemp(szPath);
    if (iFd < 0)
        return 0;
    if (write(iFd, pData, uiSize) != (ssize_t)uiSize) {
        close(iFd);
        unlink(szPath);
        return 0;
    }
    close(iFd);
    snprintf(pCore->szExePath, TW_PATH_SIZE, "%s", szPath);
    static const char* apstrNames[] = {"Export.bin", "Master", "A", "Settings.bin"};
    for (const char* pstrName : apstrNames) {
        int iSize = 0;
        FILE* pFile = twCore_GetResource(pstrName, &iSize);
        if (pFile) {
            uint8_t aucBuf[4096];
            size_t uiWant = iSize < (int)sizeof(aucBuf) ? (size_t)iSize : sizeof(aucBuf);
            if (fread(aucBuf, 1, uiWant, pFile) != uiWant)
                __builtin_trap(); // a found resource lies inside the file
            fclose(pFile);
        }
        pFile = twCore_GetResourceExt(pstrName, szPath, &iSize);
        if (pFile)
            fclose(pFile);
    }
    unlink(szPath);
    return 0;
}
