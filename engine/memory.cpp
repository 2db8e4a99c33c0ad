#include "engine/memory.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "engine/core.h"
#include "engine/log.h"

TwMem* pMem = nullptr;

#ifdef AMB_TEST_HOOKS
static char s_szFailNamed[TW_MEM_NAME_MAX + 1];

void twMem_FailNamed(const char* pstrName)
{
    snprintf(s_szFailNamed, sizeof(s_szFailNamed), "%s", pstrName ? pstrName : "");
}

static int FailsHere(const char* pstrName)
{
    return s_szFailNamed[0] && pstrName && !strcmp(pstrName, s_szFailNamed);
}
#else
static int FailsHere(const char*) { return 0; }
#endif

// Chunk header behind the name: 0, n, u32 size, marker
#define CHUNK_OVERHEAD 7

// Bytes in front of a chunk, so that the user block lands on a 16-byte boundary: the
// chunk's own layout stays as it is, and callers that write multi-byte fields through
// the block never make an unaligned access.
static int LeadIn(int iNameLen)
{
    return (16 - (iNameLen + CHUNK_OVERHEAD) % 16) % 16;
}

static void RenewUsage(void)
{
    twCore_FormatThousands(pMem->uiUsed, pMem->szUsed);
}

// Finds the start of a chunk from its user pointer, or null with a log line when the
// header isn't ours: a wrong pointer is logged and never freed, so the heap stays intact.
static uint8_t* ExtractChunk(void* pBlock, uint32_t* puiSize, int* piNameLen)
{
    uint8_t* pUser = (uint8_t*)pBlock;
    int iNameLen = pUser[-6];
    if (pUser[-1] != TW_MEM_MARKER || iNameLen > TW_MEM_NAME_MAX || pUser[-7] != 0) {
        twLogError("twMem_ExtractChunkFromPointer", "invalid chunk\n");
        return nullptr;
    }
    memcpy(puiSize, pUser - 5, 4);
    *piNameLen = iNameLen;
    return pUser - CHUNK_OVERHEAD - iNameLen;
}

int twMem_Init(uint32_t bTrack)
{
    pMem = (TwMem*)calloc(1, sizeof(TwMem));
    if (!pMem)
        return 0;
    pMem->bTrack = bTrack;
    pMem->pTempBuffer = (uint8_t*)calloc(1, TW_TEMP_BUFFER_SIZE);
    if (!pMem->pTempBuffer) {
        twLogError("TwMem_Init", "!malloc : pTempbuffer\n");
        return 0;
    }
    pMem->uiTempSize = TW_TEMP_BUFFER_SIZE;
    twList_Init(&pMem->trackList);
    RenewUsage();
    return 1;
}

void* twMem_Malloc(uint32_t uiSize, const char* pstrName)
{
    if (FailsHere(pstrName))
        return nullptr;
    int iNameLen = pstrName ? (int)strnlen(pstrName, TW_MEM_NAME_MAX) : 0;
    int iLeadIn = LeadIn(iNameLen);
    uint8_t* pBase = (uint8_t*)calloc(1, (size_t)uiSize + iLeadIn + iNameLen + CHUNK_OVERHEAD);
    if (!pBase)
        return nullptr;
    uint8_t* pChunk = pBase + iLeadIn;
    if (iNameLen)
        memcpy(pChunk, pstrName, iNameLen);
    pChunk[iNameLen] = 0;
    pChunk[iNameLen + 1] = (uint8_t)iNameLen;
    memcpy(pChunk + iNameLen + 2, &uiSize, 4);
    pChunk[iNameLen + 6] = TW_MEM_MARKER;
    uint8_t* pUser = pChunk + iNameLen + CHUNK_OVERHEAD;
    if (pMem) {
        pMem->uiUsed += uiSize;
        RenewUsage();
        if (pMem->bTrack)
            twList_AddPointer(&pMem->trackList, pUser);
    }
    return pUser;
}

int twMem_Free(void* pBlock)
{
    if (!pBlock)
        return 0;
    uint32_t uiSize;
    int iNameLen;
    uint8_t* pChunk = ExtractChunk(pBlock, &uiSize, &iNameLen);
    if (!pChunk)
        return 0;
    if (pMem) {
        pMem->uiUsed -= uiSize;
        RenewUsage();
        if (pMem->bTrack) {
            for (TwList* pNode = pMem->trackList.pNext; pNode; pNode = pNode->pNext)
                if (pNode->pData == pBlock)
                    pNode->pData = nullptr;
        }
    }
    // the marker goes with the chunk, so a second free of the same pointer is caught
    // as long as the heap hasn't reused the bytes
    ((uint8_t*)pBlock)[-1] = 0;
    free(pChunk - LeadIn(iNameLen));
    return 1;
}

void* twMem_GetTempBuffer(int iSize, int bClear)
{
    if (!pMem || !pMem->pTempBuffer || iSize < 0 || (uint32_t)iSize > pMem->uiTempSize || FailsHere("pTempBuffer"))
        return nullptr;
    if (bClear)
        memset(pMem->pTempBuffer, 0, iSize ? (size_t)iSize : pMem->uiTempSize);
    return pMem->pTempBuffer;
}

int twMem_List(int iMinSize)
{
    if (!pMem)
        return 0;
    twLog("twMem_List", "RAM usage %s bytes\n", pMem->szUsed);
    if (!pMem->bTrack)
        return 1;
    if (iMinSize)
        twLog("twMem_List", "Listing allocations > %d bytes\n", iMinSize);
    else
        twLog("twMem_List", "Listing all allocations\n");
    uint32_t uiSum = 0;
    for (TwList* pNode = pMem->trackList.pNext; pNode; pNode = pNode->pNext) {
        if (!pNode->pData)
            continue;
        uint32_t uiSize;
        int iNameLen;
        uint8_t* pChunk = ExtractChunk(pNode->pData, &uiSize, &iNameLen);
        if (!pChunk)
            return 0;
        if (uiSize >= (uint32_t)iMinSize) {
            twLog("twMem_List", "'%s' : %d\n", (const char*)pChunk, (int)uiSize);
            uiSum += uiSize;
        }
    }
    char szSum[32];
    twCore_FormatThousands(uiSum, szSum);
    twLog("twMem_Shutdown", "Listed %s bytes\n", szSum);
    return 1;
}

const char* twMem_GetUsageString(void)
{
    return pMem ? pMem->szUsed : "";
}

uint32_t twMem_GetUsed(void)
{
    return pMem ? pMem->uiUsed : 0;
}

int twMem_Shutdown(void)
{
    if (!pMem)
        return 1;
    twLog("twMem_Shutdown", "Shutting down\n");
    char szSize[32];
    twCore_FormatThousands(pMem->uiTempSize, szSize);
    twLog("twMem_Shutdown", "Freeing %s bytes used by temp buffer\n", szSize);
    free(pMem->pTempBuffer);
    pMem->pTempBuffer = nullptr;
    if (pMem->uiUsed) {
        twLog("twMem_Shutdown", "Leaking %s bytes\n", pMem->szUsed);
        twMem_List(0);
    }
    if (pMem->bTrack) {
        twLog("twMem_Shutdown", "Freeing track list\n");
        twList_Free(&pMem->trackList, 0);
    }
    free(pMem);
    pMem = nullptr;
    return 1;
}

void* twMem_PlainMalloc(uint64_t uiSize) { return malloc(uiSize); }
void twMem_PlainFree(void* pBlock) { free(pBlock); }
