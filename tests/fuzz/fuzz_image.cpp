// An image reader on any bytes: header, then data into a buffer of the size the header
// asks for, as the texture loader does. Built once for each format, which
// FUZZ_IMAGE_FORMAT names.
#include "platform/image.h"
#include "tests/fuzz/fuzz_common.h"

#ifndef FUZZ_IMAGE_FORMAT
#define FUZZ_IMAGE_FORMAT 0
#endif

#define FORMAT_BMP 0
#define FORMAT_TGA 1
#define FORMAT_DDS 2

// The BMP and TGA headers give no byte count: the loader works it out from the size
static int ReadHeader(FILE* pFile, int* piWidth, int* piHeight, int* piChannels, int* piNumBytes)
{
    int iFormat = 0, iNumLevels = 0;
    *piNumBytes = 0;
    switch (FUZZ_IMAGE_FORMAT) {
    case FORMAT_BMP: return twBmp_ReadHeader(pFile, piWidth, piHeight, piChannels);
    case FORMAT_TGA: return twTga_ReadHeader(pFile, piWidth, piHeight, piChannels);
    default: return twDxt_ReadHeader(pFile, piWidth, piHeight, piChannels, &iFormat, piNumBytes, &iNumLevels);
    }
}

static int ReadData(FILE* pFile, int iNumBytes, uint8_t* pDest)
{
    switch (FUZZ_IMAGE_FORMAT) {
    case FORMAT_BMP: return twBmp_ReadData(pFile, iNumBytes, pDest);
    case FORMAT_TGA: return twTga_ReadData(pFile, iNumBytes, pDest);
    default: return twDxt_ReadData(pFile, iNumBytes, pDest);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    FILE* pFile = FuzzOpen(pData, uiSize);
    if (!pFile)
        return 0;
    int iWidth = 0, iHeight = 0, iChannels = 0, iNumBytes = 0;
    if (ReadHeader(pFile, &iWidth, &iHeight, &iChannels, &iNumBytes)) {
        int64_t iBytes = 0;
        if (iNumBytes)
            iBytes = iNumBytes;
        else if (iWidth > 0 && iHeight > 0 && iWidth <= 4096 && iHeight <= 4096 && iChannels > 0 && iChannels <= 4)
            iBytes = (int64_t)iWidth * iHeight * iChannels;
        // the loader refuses what its temp buffer can't hold
        if (iBytes > 0 && iBytes <= (1 << 22)) {
            uint8_t* pucDest = (uint8_t*)twMem_Malloc((uint32_t)iBytes, "fuzz");
            ReadData(pFile, (int)iBytes, pucDest);
            twMem_Free(pucDest);
        }
    }
    fclose(pFile);
    return 0;
}
