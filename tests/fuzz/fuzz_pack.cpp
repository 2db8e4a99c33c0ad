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
    // what a published copy carries, and names that are in no pack
    static const char* apstrNames[] = {"Export.bin", "Master", "Settings.bin", "Gallery", "Sun.bin", "LightS.bin",
                                       "LightM.bin", "LightInit.bin", "LightSort.bin", "LightEq.bin", "A"};
    for (const char* pstrName : apstrNames) {
        int iSize = 0;
        FILE* pFile = twCore_GetResource(pstrName, &iSize);
        if (pFile) {
            // a found resource lies inside the file, every byte of it
            uint8_t aucBuf[4096];
            for (int iLeft = iSize; iLeft > 0;) {
                size_t uiWant = iLeft < (int)sizeof(aucBuf) ? (size_t)iLeft : sizeof(aucBuf);
                if (fread(aucBuf, 1, uiWant, pFile) != uiWant)
                    __builtin_trap();
                iLeft -= (int)uiWant;
            }
            fclose(pFile);
        }
        pFile = twCore_GetResourceExt(pstrName, szPath, &iSize);
        if (pFile)
            fclose(pFile);
    }
    unlink(szPath);
    return 0;
}
