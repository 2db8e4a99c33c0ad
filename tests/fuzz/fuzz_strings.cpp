// The string table reader on any bytes.
#include "engine/strings.h"
#include "tests/fuzz/fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    FILE* pFile = FuzzOpen(pData, uiSize);
    if (!pFile)
        return 0;
    twStrings_Init();
    if (twStrings_Load(pFile))
        for (int i = -1; i <= 601; i++)
            (void)twStrings_Get(i)[0];
    twStrings_Shutdown();
    fclose(pFile);
    return 0;
}
