// A reader over a FILE* stream that knows how many bytes its resource has left, so that
// every count read from a file can be checked before anything is allocated or indexed.
// A read past the end fills the destination with zeros and marks the reader short.
#pragma once
#include <stdint.h>
#include <stdio.h>

struct TwReader {
    FILE* pFile;
    int64_t iLeft;  // bytes of the resource not yet read
    int64_t iEnd;   // stream position of the resource's end
    int32_t bShort; // a read ran past the end of the resource or of the file
};

void twReader_Init(TwReader* pReader, FILE* pFile, int64_t iSize); // iSize < 0: to the file's end
int twReader_Read(TwReader* pReader, void* pDest, int64_t iBytes); // 1, or 0 when short
int twReader_Skip(TwReader* pReader, int64_t iBytes);              // 1, or 0 when short
int twReader_Sync(TwReader* pReader); // after others read the stream: 0 when they passed the end
uint8_t twReader_U8(TwReader* pReader);
uint16_t twReader_U16(TwReader* pReader);
uint32_t twReader_U32(TwReader* pReader);
int32_t twReader_I32(TwReader* pReader);
float twReader_F32(TwReader* pReader);
int twReader_Fits(const TwReader* pReader, int64_t iCount, int64_t iEach); // count x each still there
