// BMP, TGA and DDS readers, the BMP writer and the image helpers of the texture loader.
// Readers work on a stream that may point into a resource pack: they never seek to an
// absolute position. Each format has a header call and a data call; the data call steps
// back over the header and reads it again, so nothing may be read between the two.
// Pixels come out as R, G, B, (A), first file row first, without any flip.
#pragma once
#include <stdint.h>
#include <stdio.h>

#define TW_BMP_HEADER_SIZE 54
#define TW_TGA_HEADER_SIZE 18
#define TW_DDS_HEADER_SIZE 128
#define TW_IMAGE_MAX_SIDE 32768 // pixels; anything larger is taken for a damaged file

// BMP file header and BITMAPINFOHEADER as one packed record of the file's 54 bytes.
#pragma pack(push, 1)
struct TwBmpHeader {
    uint16_t usMagic;       // "BM"
    uint32_t uiFileSize;
    uint16_t usReserved1, usReserved2;
    uint32_t uiDataOffset;  // from the start of the header
    uint32_t uiHeaderSize;  // 40
    int32_t iWidth;
    int32_t iHeight;
    uint16_t usPlanes;
    uint16_t usBitsPerPixel;
    uint32_t uiCompression;
    uint32_t uiImageSize;
    int32_t iXPelsPerMeter, iYPelsPerMeter;
    uint32_t uiColorsUsed, uiColorsImportant;
};

struct TwTgaHeader {
    uint8_t ucIdLength;
    uint8_t ucColorMapType;
    uint8_t ucImageType;      // 2, 3 plain; 10, 11 run-length
    uint16_t usColorMapOrigin;
    uint16_t usColorMapLength;
    uint8_t ucColorMapDepth;
    uint16_t usXOrigin, usYOrigin;
    uint16_t usWidth, usHeight;
    uint8_t ucPixelDepth;     // bits
    uint8_t ucDescriptor;     // low four bits: alpha depth; the origin bit is ignored
};
#pragma pack(pop)
static_assert(sizeof(TwBmpHeader) == TW_BMP_HEADER_SIZE, "BMP header mirrors the file");
static_assert(sizeof(TwTgaHeader) == TW_TGA_HEADER_SIZE, "TGA header mirrors the file");

int twBmp_ReadHeader(FILE* pFile, int* piWidth, int* piHeight, int* piChannels);
int twBmp_ReadData(FILE* pFile, int iNumBytes, uint8_t* pDest);
int twBmp_Write(const char* pstrPath, int iWidth, int iHeight, int iChannels, const uint8_t* pData); // bottom-up BGR rows
int twPng_Write(const char* pstrPath, int iWidth, int iHeight, const uint8_t* pData); // bottom-up RGB rows
// A screenshot's file: a PNG of RGB rows, or a BMP of BGR rows, bottom-up
int twImage_WriteShot(const char* pstrPath, int iWidth, int iHeight, const uint8_t* pData, int bPng);
int twTga_ReadHeader(FILE* pFile, int* piWidth, int* piHeight, int* piChannels);
int twTga_ReadData(FILE* pFile, int iNumBytes, uint8_t* pDest);
int twDxt_ReadHeader(FILE* pFile, int* piWidth, int* piHeight, int* piChannels, int* piFormat,
                     int* piNumBytes, int* piNumLevels);
int twDxt_ReadData(FILE* pFile, int iNumBytes, uint8_t* pDest);
int twDxt_GetLevelSize(int iFormat, int iWidth, int iHeight); // bytes of one compressed level
int twDxt_GetTotalSize(int iFormat, int iWidth, int iHeight, int iNumLevels);
int twCore_IsPow2(int iValue);
int twCore_ComputePow2Dim(int iInDim, int iMaxPow2, int bRoundUp); // power of two at most iInDim, or 0
int twCore_ScaleImage(int iChannels, int iWidthIn, int iHeightIn, const uint8_t* pIn, int iWidthOut,
                      int iHeightOut, uint8_t* pOut, int bFilter);
