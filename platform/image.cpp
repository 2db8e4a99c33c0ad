#include "platform/image.h"

#include <GL/glew.h>
#include <stdlib.h>
#include <string.h>
#include <zlib.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/writer.h"

#define DXT_MAX_LEVELS 32

static int ReadBmpHeader(FILE* pFile, TwBmpHeader* pHeader, const char* pstrTag)
{
    if (fread(pHeader, TW_BMP_HEADER_SIZE, 1, pFile) != 1) {
        twLogError(pstrTag, "!fread\n");
        return 0;
    }
    return 1;
}

static int ReadTgaHeader(FILE* pFile, TwTgaHeader* pHeader, const char* pstrTag)
{
    if (fread(pHeader, TW_TGA_HEADER_SIZE, 1, pFile) != 1) {
        twLogError(pstrTag, "!fread\n");
        return 0;
    }
    return 1;
}

// Swaps bytes 0 and 2 of every pixel of a buffer, stopping where a pixel would run past it.
static void SwapRedBlue(uint8_t* pData, int iNumBytes, int iStride)
{
    for (int i = 0; i + 2 < iNumBytes; i += iStride) {
        uint8_t ucSwap = pData[i];
        pData[i] = pData[i + 2];
        pData[i + 2] = ucSwap;
    }
}

int twBmp_ReadHeader(FILE* pFile, int* piWidth, int* piHeight, int* piChannels)
{
    TwBmpHeader header;
    if (!ReadBmpHeader(pFile, &header, "twBmp_ReadHeader"))
        return 0;
    *piWidth = header.iWidth;
    *piHeight = header.iHeight;
    *piChannels = header.usBitsPerPixel / 8;
    return 1;
}

int twBmp_ReadData(FILE* pFile, int iNumBytes, uint8_t* pDest)
{
    TwBmpHeader header;
    if (fseek(pFile, -TW_BMP_HEADER_SIZE, SEEK_CUR) != 0 || !ReadBmpHeader(pFile, &header, "twBmp_ReadData"))
        return 0;
    int iChannels = header.usBitsPerPixel / 8;
    // sides are bounded first, so that the product can't overflow
    int bSizeOk = header.iWidth >= 1 && header.iHeight >= 1 && header.iWidth <= TW_IMAGE_MAX_SIDE &&
                  header.iHeight <= TW_IMAGE_MAX_SIDE;
    int64_t iExpected = bSizeOk ? (int64_t)iChannels * header.iWidth * header.iHeight : -1;
    if (iNumBytes <= 0 || iExpected != iNumBytes) {
        twLogError("twBmp_ReadData", "!byte count mismatch\n");
        return 0;
    }
    uint8_t* pTemp = (uint8_t*)twMem_Malloc((uint32_t)iNumBytes, "twBmp_pTemp");
    if (!pTemp) {
        twLogError("twBmp_ReadData", "!malloc : pTemp\n");
        return 0;
    }
    // relative seeks only: the file may be a resource inside a pack
    if (fseek(pFile, -TW_BMP_HEADER_SIZE, SEEK_CUR) != 0 || fseek(pFile, header.uiDataOffset, SEEK_CUR) != 0 ||
        fread(pTemp, 1, iNumBytes, pFile) != (size_t)iNumBytes) {
        twLogError("twBmp_ReadData", "!fread\n");
        twMem_Free(pTemp);
        return 0;
    }
    if (iChannels == 1) {
        memcpy(pDest, pTemp, iNumBytes);
    } else {
        // rows are read without their padding: only rows of a multiple of 4 bytes come out straight
        for (int i = 0; i + 2 < iNumBytes; i += iChannels) {
            pDest[i] = pTemp[i + 2];
            pDest[i + 1] = pTemp[i + 1];
            pDest[i + 2] = pTemp[i];
            if (iChannels == 4)
                pDest[i + 3] = pTemp[i + 3];
        }
    }
    twMem_Free(pTemp);
    return 1;
}

int twBmp_Write(const char* pstrPath, int iWidth, int iHeight, int iChannels, const uint8_t* pData)
{
    if (iWidth < 1 || iHeight < 1 || iChannels < 1 || iChannels > 4 ||
        (int64_t)iWidth * iHeight * iChannels > 0x7FFFFFFF - TW_BMP_HEADER_SIZE) {
        twLogError("twBmp_Write", "!invalid size %d x %d x %d\n", iWidth, iHeight, iChannels);
        return 0;
    }
    // through a temporary file: a full disk never leaves half a picture under the name
    TwWriter writer;
    if (!twWriter_Open(&writer, pstrPath)) {
        twLogError("twBmp_Write", "!fopen : '%s'\n", pstrPath);
        return 0;
    }
    uint32_t uiImageSize = (uint32_t)iWidth * iHeight * iChannels;
    TwBmpHeader header;
    memset(&header, 0, sizeof(header));
    header.usMagic = 0x4D42;
    header.uiFileSize = uiImageSize + TW_BMP_HEADER_SIZE;
    header.uiDataOffset = TW_BMP_HEADER_SIZE;
    header.uiHeaderSize = 40;
    header.iWidth = iWidth;
    header.iHeight = iHeight;
    header.usPlanes = 1;
    header.usBitsPerPixel = (uint16_t)(iChannels * 8);
    header.uiImageSize = uiImageSize;
    twWriter_Write(&writer, &header, sizeof(header));
    twWriter_Write(&writer, pData, uiImageSize);
    if (!twWriter_Close(&writer)) {
        twLogError("twBmp_Write", "!fwrite : '%s'\n", pstrPath);
        return 0;
    }
    return 1;
}

static void PutBigU32(uint8_t* p, uint32_t v)
{
    p[0] = (uint8_t)(v >> 24);
    p[1] = (uint8_t)(v >> 16);
    p[2] = (uint8_t)(v >> 8);
    p[3] = (uint8_t)v;
}

// A chunk: its length, its type and data, and the CRC of type and data
static void PngChunk(TwWriter* w, const char* pstrType, const uint8_t* pData, uint32_t uiSize)
{
    uint8_t aucHead[8], aucCrc[4];
    PutBigU32(aucHead, uiSize);
    memcpy(aucHead + 4, pstrType, 4);
    uLong uiCrc = crc32(0, aucHead + 4, 4);
    if (uiSize) // zlib's crc32 of a null buffer is its first value, not the one given
        uiCrc = crc32(uiCrc, pData, uiSize);
    PutBigU32(aucCrc, (uint32_t)uiCrc);
    twWriter_Write(w, aucHead, 8);
    if (uiSize)
        twWriter_Write(w, pData, uiSize);
    twWriter_Write(w, aucCrc, 4);
}

int twPng_Write(const char* pstrPath, int iWidth, int iHeight, const uint8_t* pData)
{
    const char* pstrTag = "twPng_Write";
    int64_t iRow = (int64_t)iWidth * 3 + 1;
    if (iWidth < 1 || iHeight < 1 || iRow * iHeight > 0x7FFFFFFF) {
        twLogError(pstrTag, "!invalid size %d x %d\n", iWidth, iHeight);
        return 0;
    }
    uLong uiRaw = (uLong)(iRow * iHeight), uiPacked = compressBound(uiRaw);
    uint8_t* pucRaw = (uint8_t*)twMem_PlainMalloc(uiRaw);
    uint8_t* pucPacked = (uint8_t*)twMem_PlainMalloc(uiPacked);
    if (!pucRaw || !pucPacked) {
        twLogError(pstrTag, "!No memory for %d x %d\n", iWidth, iHeight);
        twMem_PlainFree(pucRaw);
        twMem_PlainFree(pucPacked);
        return 0;
    }
    // top row first; each row with the filter "Sub" (the byte less the one a pixel before),
    // which the smooth shades of a rendered view pack well with
    for (int y = 0; y < iHeight; y++) {
        const uint8_t* pucIn = pData + (int64_t)(iHeight - 1 - y) * (iRow - 1);
        uint8_t* pucOut = pucRaw + (int64_t)y * iRow;
        pucOut[0] = 1;
        for (int64_t i = 0; i < iRow - 1; i++)
            pucOut[1 + i] = (uint8_t)(pucIn[i] - (i >= 3 ? pucIn[i - 3] : 0));
    }
    int bOk = compress2(pucPacked, &uiPacked, pucRaw, uiRaw, 3) == Z_OK;
    twMem_PlainFree(pucRaw);
    TwWriter w;
    if (bOk && !twWriter_Open(&w, pstrPath)) {
        twLogError(pstrTag, "!fopen : '%s'\n", pstrPath);
        bOk = 0;
    } else if (bOk) {
        static const uint8_t aucSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
        uint8_t aucHeader[13] = {0};
        PutBigU32(aucHeader, (uint32_t)iWidth);
        PutBigU32(aucHeader + 4, (uint32_t)iHeight);
        aucHeader[8] = 8; // bits a sample; colour type 2, RGB
        aucHeader[9] = 2;
        twWriter_Write(&w, aucSignature, 8);
        PngChunk(&w, "IHDR", aucHeader, 13);
        PngChunk(&w, "IDAT", pucPacked, (uint32_t)uiPacked);
        PngChunk(&w, "IEND", nullptr, 0);
        bOk = twWriter_Close(&w);
        if (!bOk)
            twLogError(pstrTag, "!fwrite : '%s'\n", pstrPath);
    } else {
        twLogError(pstrTag, "!compress2\n");
    }
    twMem_PlainFree(pucPacked);
    return bOk;
}

int twImage_WriteShot(const char* pstrPath, int iWidth, int iHeight, const uint8_t* pData, int bPng)
{
    return bPng ? twPng_Write(pstrPath, iWidth, iHeight, pData) : twBmp_Write(pstrPath, iWidth, iHeight, 3, pData);
}

int twTga_ReadHeader(FILE* pFile, int* piWidth, int* piHeight, int* piChannels)
{
    TwTgaHeader header;
    if (!ReadTgaHeader(pFile, &header, "twTga_ReadHeader"))
        return 0;
    if (piWidth)
        *piWidth = header.usWidth;
    if (piHeight)
        *piHeight = header.usHeight;
    if (piChannels)
        *piChannels = header.ucPixelDepth / 8;
    return 1;
}

// Run-length data: a packet byte, then one pixel repeated or a run of raw pixels. A
// lone pixel at the very end isn't read (the loop stops one short), which valid files
// never notice; a packet that would run past the buffer ends the read.
static int ReadTgaRunLength(FILE* pFile, const TwTgaHeader* pHeader, int iBytesPerPixel, int iNumBytes,
                            uint8_t* pDest)
{
    int64_t iNumPixels = (int64_t)pHeader->usWidth * pHeader->usHeight;
    int64_t iCapacity = iNumBytes / iBytesPerPixel;
    int64_t i = 0;
    uint8_t aucRun[128 * 4];
    while (i < iNumPixels - 1) {
        int iPacket = fgetc(pFile);
        if (iPacket == EOF) {
            twLogError("twTga_ReadData", "!fread\n");
            return 0;
        }
        int iCount = (iPacket & 0x7F) + 1;
        if (i + iCount > iCapacity) {
            twLogError("twTga_ReadData", "!run-length packet runs past the end of the image\n");
            return 0;
        }
        int iRunBytes = (iPacket & 0x80) ? iBytesPerPixel : iCount * iBytesPerPixel;
        if (fread(aucRun, 1, iRunBytes, pFile) != (size_t)iRunBytes) {
            twLogError("twTga_ReadData", "!fread\n");
            return 0;
        }
        uint8_t* pOut = pDest + i * iBytesPerPixel;
        if (iPacket & 0x80) {
            for (int k = 0; k < iCount; k++)
                memcpy(pOut + k * iBytesPerPixel, aucRun, iBytesPerPixel);
        } else {
            memcpy(pOut, aucRun, iRunBytes);
        }
        i += iCount;
    }
    return 1;
}

int twTga_ReadData(FILE* pFile, int iNumBytes, uint8_t* pDest)
{
    TwTgaHeader header;
    if (fseek(pFile, -TW_TGA_HEADER_SIZE, SEEK_CUR) != 0 || !ReadTgaHeader(pFile, &header, "twTga_ReadData"))
        return 0;
    int iType = header.ucImageType;
    if (iType != 2 && iType != 3 && iType != 10 && iType != 11) {
        twLogError("twTga_ReadData", "!invalid image type=%d\n", iType);
        return 0;
    }
    int iAlphaDepth = header.ucDescriptor & 0x0F;
    if (iAlphaDepth != 0 && iAlphaDepth != 8) {
        twLogError("twTga_ReadData", "!invalid alphadepth=%d\n", iAlphaDepth);
        return 0;
    }
    int iBytesPerPixel = header.ucPixelDepth / 8;
    if (iBytesPerPixel < 1 || iBytesPerPixel > 4) {
        twLogError("twTga_ReadData", "!invalid pixel depth=%d\n", header.ucPixelDepth);
        return 0;
    }
    if (iNumBytes < 0)
        iNumBytes = 0;
    if (iType == 2 || iType == 3) {
        // the id field and a colour map, if any, are not skipped
        int64_t iSize = (int64_t)header.usWidth * header.usHeight * iBytesPerPixel;
        if (iSize > iNumBytes) {
            twLogError("twTga_ReadData", "!byte count mismatch\n");
            return 0;
        }
        if (fread(pDest, 1, (size_t)iSize, pFile) != (size_t)iSize) {
            twLogError("twTga_ReadData", "!fread\n");
            return 0;
        }
    } else if (!ReadTgaRunLength(pFile, &header, iBytesPerPixel, iNumBytes, pDest)) {
        return 0;
    }
    if (iBytesPerPixel == 3 || iBytesPerPixel == 4)
        SwapRedBlue(pDest, iNumBytes, iBytesPerPixel);
    return 1;
}

int twDxt_ReadHeader(FILE* pFile, int* piWidth, int* piHeight, int* piChannels, int* piFormat,
                     int* piNumBytes, int* piNumLevels)
{
    uint8_t aucMagic[4];
    if (fread(aucMagic, 1, 4, pFile) != 4 || aucMagic[0] != 'D' || aucMagic[1] != 'D' || aucMagic[2] != 'S') {
        twLogError("twDxt_ReadHeader", "!header not dds\n");
        return 0;
    }
    uint8_t aucHeader[TW_DDS_HEADER_SIZE - 4];
    if (fread(aucHeader, sizeof(aucHeader), 1, pFile) != 1) {
        twLogError("twDxt_ReadHeader", "!fread\n");
        return 0;
    }
    int32_t iHeight, iWidth, iNumLevels;
    memcpy(&iHeight, aucHeader + 8, 4);
    memcpy(&iWidth, aucHeader + 12, 4);
    memcpy(&iNumLevels, aucHeader + 24, 4);
    if (iWidth < 1 || iHeight < 1 || iWidth > TW_IMAGE_MAX_SIDE || iHeight > TW_IMAGE_MAX_SIDE) {
        twLogError("twDxt_ReadHeader", "!Very large image %d x %d (corrupt?)\n", iWidth, iHeight);
        return 0;
    }
    if (iNumLevels < 0 || iNumLevels > DXT_MAX_LEVELS) {
        twLogError("twDxt_ReadHeader", "!invalid mip-map count %d\n", iNumLevels);
        return 0;
    }
    const uint8_t* pFourCC = aucHeader + 80;
    int iFormat;
    if (memcmp(pFourCC, "DXT1", 4) == 0) {
        iFormat = GL_COMPRESSED_RGB_S3TC_DXT1_EXT;
        if (piChannels)
            *piChannels = 3;
    } else if (memcmp(pFourCC, "DXT3", 4) == 0) {
        iFormat = GL_COMPRESSED_RGBA_S3TC_DXT3_EXT;
    } else if (memcmp(pFourCC, "DXT5", 4) == 0) {
        iFormat = GL_COMPRESSED_RGBA_S3TC_DXT5_EXT;
        if (piChannels)
            *piChannels = 4;
    } else {
        memcpy(&iFormat, aucMagic, 4);
    }
    if (piWidth)
        *piWidth = iWidth;
    if (piHeight)
        *piHeight = iHeight;
    if (piFormat)
        *piFormat = iFormat;
    if (piNumBytes)
        *piNumBytes = twDxt_GetTotalSize(iFormat, iWidth, iHeight, iNumLevels);
    if (piNumLevels)
        *piNumLevels = iNumLevels;
    return 1;
}

int twDxt_ReadData(FILE* pFile, int iNumBytes, uint8_t* pDest)
{
    if (iNumBytes < 0 || fread(pDest, 1, iNumBytes, pFile) != (size_t)iNumBytes) {
        twLogError("twDxt_ReadData", "!fread\n");
        return 0;
    }
    return 1;
}

int twDxt_GetLevelSize(int iFormat, int iWidth, int iHeight)
{
    int iBlockBytes = iFormat == GL_COMPRESSED_RGB_S3TC_DXT1_EXT ? 8 : 16;
    return ((iHeight + 3) / 4) * ((iWidth + 3) / 4) * iBlockBytes;
}

int twDxt_GetTotalSize(int iFormat, int iWidth, int iHeight, int iNumLevels)
{
    int iTotal = twDxt_GetLevelSize(iFormat, iWidth, iHeight);
    for (int i = 1; i < iNumLevels; i++) {
        if (iWidth > 1)
            iWidth /= 2;
        if (iHeight > 1)
            iHeight /= 2;
        iTotal += twDxt_GetLevelSize(iFormat, iWidth, iHeight);
    }
    return iTotal;
}

int twCore_IsPow2(int iValue)
{
    if (iValue < 1)
        return 0;
    return (iValue & (iValue - 1)) == 0;
}

int twCore_ComputePow2Dim(int iInDim, int iMaxPow2, int bRoundUp)
{
    if (iInDim < 2) {
        twLogError("twCore_ComputePow2Dim", "InDim==%d\n", iInDim);
        return 0;
    }
    if (iMaxPow2 < 2) {
        twLogError("twCore_ComputePow2Dim", "MaxPow2 == %d\n", iMaxPow2);
        return 0;
    }
    if (!twCore_IsPow2(iMaxPow2)) {
        twLogError("twCore_ComputePow2Dim", "MaxPow2 != pow2\n");
        return 0;
    }
    int iResult = iMaxPow2;
    while (iResult > iInDim)
        iResult /= 2;
    if (bRoundUp && iResult * 2 <= iMaxPow2)
        iResult *= 2;
    // sides under 8 pixels have no size to go to: the loader's assertion never returned here
    if (iInDim < 8) {
        twLogError("twCore_ComputePow2Dim", "!InDim %d is below 8 and gives %d\n", iInDim, iResult);
        return 0;
    }
    return iResult;
}

// The two source rows (or columns) an output row falls between, at the scale's step, kept
// inside the image; returns how far it lies from the first
static float SourcePair(int iOut, float fScale, int iInSize, int* pi0, int* pi1)
{
    int i0 = (int)(iOut * fScale);
    if (i0 > iInSize - 1)
        i0 = iInSize - 1;
    *pi0 = i0;
    *pi1 = i0 + 1 < iInSize ? i0 + 1 : iInSize - 1;
    return iOut * fScale - i0;
}

int twCore_ScaleImage(int iChannels, int iWidthIn, int iHeightIn, const uint8_t* pIn, int iWidthOut,
                      int iHeightOut, uint8_t* pOut, int bFilter)
{
    if (iChannels < 1 || iWidthIn < 1 || iHeightIn < 1 || iWidthOut < 1 || iHeightOut < 1 ||
        (int64_t)iWidthIn * iHeightIn * iChannels > 0x10000000 ||
        (int64_t)iWidthOut * iHeightOut * iChannels > 0x10000000) {
        twLogError("twCore_ScaleImage", "!invalid size\n");
        return 0;
    }
    size_t uiInCount = (size_t)iWidthIn * iHeightIn * iChannels;
    size_t uiOutCount = (size_t)iWidthOut * iHeightOut * iChannels;
    float* pfIn = (float*)twMem_PlainMalloc(uiInCount * sizeof(float));
    float* pfOut = (float*)twMem_PlainMalloc(uiOutCount * sizeof(float));
    if (!pfIn || !pfOut) {
        twLogError("twCore_ScaleImage", "!malloc\n");
        twMem_PlainFree(pfIn);
        twMem_PlainFree(pfOut);
        return 0;
    }
    for (size_t i = 0; i < uiInCount; i++)
        pfIn[i] = pIn[i];
    float sx = iWidthOut > 1 ? (float)(iWidthIn - 1) / (float)(iWidthOut - 1) : (float)(iWidthIn - 1);
    float sy = iHeightOut > 1 ? (float)(iHeightIn - 1) / (float)(iHeightOut - 1) : (float)(iHeightIn - 1);
    int bEnlarge = sx < 1.0f && sy < 1.0f;
    for (int i = 0; i < iHeightOut; i++) {
        int i0, i1;
        float alpha = SourcePair(i, sy, iHeightIn, &i0, &i1);
        for (int j = 0; j < iWidthOut; j++) {
            int j0, j1;
            float beta = SourcePair(j, sx, iWidthIn, &j0, &j1);
            const float* p00 = pfIn + ((size_t)i0 * iWidthIn + j0) * iChannels;
            const float* p01 = pfIn + ((size_t)i0 * iWidthIn + j1) * iChannels;
            const float* p10 = pfIn + ((size_t)i1 * iWidthIn + j0) * iChannels;
            const float* p11 = pfIn + ((size_t)i1 * iWidthIn + j1) * iChannels;
            float* pDst = pfOut + ((size_t)i * iWidthOut + j) * iChannels;
            for (int c = 0; c < iChannels; c++) {
                if (!bFilter) {
                    pDst[c] = p00[c];
                } else if (bEnlarge) {
                    float fTop = p00[c] + (p01[c] - p00[c]) * beta;
                    float fBottom = p10[c] + (p11[c] - p10[c]) * beta;
                    pDst[c] = fTop + (fBottom - fTop) * alpha;
                } else {
                    // the mean of at most four pixels, whatever the reduction: a strong
                    // reduction skips pixels
                    float fSum = 0.0f;
                    int iNum = 0;
                    for (int y = i0; y <= i1; y++)
                        for (int x = j0; x <= j1; x++) {
                            fSum += pfIn[((size_t)y * iWidthIn + x) * iChannels + c];
                            iNum++;
                        }
                    pDst[c] = fSum / iNum;
                }
            }
        }
    }
    for (size_t i = 0; i < uiOutCount; i++)
        pOut[i] = (uint8_t)(int)pfOut[i];
    twMem_PlainFree(pfIn);
    twMem_PlainFree(pfOut);
    return 1;
}
