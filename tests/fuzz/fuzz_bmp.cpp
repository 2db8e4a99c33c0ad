// The bmp reader on any bytes: header, then data into a buffer of the size the header
// asks for, as the texture loader does.
#include "platform/image.h"
#include "tests/fuzz/fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    FILE* pFile = FuzzOpen(pData, uiSize);
    if (!pFile)
        return 0;
    int iWidth = 0, iHeight = 0, iChannels = 0, iFormat = 0, iNumBytes = 0, iNumLevels = 0;
    (void)iFormat;
    (void)iNumLevels;
    if (twBmp_ReadHeader(pFile, &iWidth, &iHeight, &iChannels)) {
        int64_t iBytes = 0;
        if (iNumBytes)
            iBytes = iNumBytes;
        else if (iWidth > 0 && iHeight > 0 && iWidth <= 4096 && iHeight <= 4096 && iChannels > 0 && iChannels <= 4)
            iBytes = (int64_t)iWidth * iHeight * iChannels;
        // the loader refuses what its temp buffer can't hold
        if (iBytes > 0 && iBytes <= (1 << 22)) {
            uint8_t* pucDest = (uint8_t*)twMem_Malloc((uint32_t)iBytes, "fuzz");
            twBmp_ReadData(pFile, (int)iBytes, pucDest);
            twMem_Free(pucDest);
        }
    }
    fclose(pFile);
    return 0;
}
