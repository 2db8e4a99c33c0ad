#include "engine/reader.h"

#include <string.h>

void twReader_Init(TwReader* pReader, FILE* pFile, int64_t iSize)
{
    pReader->pFile = pFile;
    pReader->bShort = 0;
    int64_t iPos = ftello(pFile);
    if (iPos < 0)
        iPos = 0;
    if (iSize < 0) {
        int64_t iEnd = -1;
        if (fseeko(pFile, 0, SEEK_END) == 0) {
            iEnd = ftello(pFile);
            fseeko(pFile, iPos, SEEK_SET);
        }
        iSize = iEnd >= iPos ? iEnd - iPos : 0;
    }
    pReader->iLeft = iSize;
    pReader->iEnd = iPos + iSize;
}

int twReader_Sync(TwReader* pReader)
{
    int64_t iPos = ftello(pReader->pFile);
    if (iPos < 0 || iPos > pReader->iEnd) {
        pReader->bShort = 1;
        pReader->iLeft = 0;
        return 0;
    }
    pReader->iLeft = pReader->iEnd - iPos;
    return 1;
}

int twReader_Read(TwReader* pReader, void* pDest, int64_t iBytes)
{
    if (iBytes < 0 || iBytes > pReader->iLeft ||
        fread(pDest, 1, (size_t)iBytes, pReader->pFile) != (size_t)iBytes) {
        if (iBytes > 0)
            memset(pDest, 0, (size_t)iBytes);
        pReader->bShort = 1;
        pReader->iLeft = 0;
        return 0;
    }
    pReader->iLeft -= iBytes;
    return 1;
}

int twReader_Skip(TwReader* pReader, int64_t iBytes)
{
    if (iBytes < 0 || iBytes > pReader->iLeft || fseeko(pReader->pFile, iBytes, SEEK_CUR) != 0) {
        pReader->bShort = 1;
        pReader->iLeft = 0;
        return 0;
    }
    pReader->iLeft -= iBytes;
    return 1;
}

// A short read leaves zeros, so a value past the end reads as 0
uint8_t twReader_U8(TwReader* pReader)
{
    uint8_t v;
    twReader_Read(pReader, &v, 1);
    return v;
}

uint16_t twReader_U16(TwReader* pReader)
{
    uint16_t v;
    twReader_Read(pReader, &v, 2);
    return v;
}

uint32_t twReader_U32(TwReader* pReader)
{
    uint32_t v;
    twReader_Read(pReader, &v, 4);
    return v;
}

int32_t twReader_I32(TwReader* pReader) { return (int32_t)twReader_U32(pReader); }

float twReader_F32(TwReader* pReader)
{
    uint32_t uiBits = twReader_U32(pReader);
    float v;
    memcpy(&v, &uiBits, 4);
    return v;
}

int twReader_Fits(const TwReader* pReader, int64_t iCount, int64_t iEach)
{
    if (iCount < 0 || iEach < 0)
        return 0;
    if (iEach && iCount > pReader->iLeft / iEach)
        return 0;
    return 1;
}
