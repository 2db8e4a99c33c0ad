// The tracked allocator and the one shared temp buffer.
// A tracked chunk: name (n bytes, at most 32), 0, n, size (u32, unaligned), 'z', user block.
// Callers may not assume any alignment; the allocator puts user blocks on 16 bytes anyway,
// so that multi-byte fields written through them are never misaligned.
#pragma once
#include <stdint.h>

#include "engine/list.h"

#define TW_TEMP_BUFFER_SIZE 0x1000000 // 16 MiB
#define TW_MEM_NAME_MAX 32
#define TW_MEM_MARKER 'z'

struct TwMem {
    uint32_t bTrack;       // every chunk is entered in trackList
    uint8_t* pTempBuffer;  // scratch for one operation at a time; nobody owns it
    uint32_t uiTempSize;   // always TW_TEMP_BUFFER_SIZE
    uint32_t uiUsed;       // bytes of user data allocated through twMem_Malloc
    char szUsed[256];      // uiUsed with thousands groups, renewed at every change
    TwList trackList;      // user pointers of live chunks
};

extern TwMem* pMem;

int twMem_Init(uint32_t bTrack);
void* twMem_Malloc(uint32_t uiSize, const char* pstrName); // zero-filled, or null
int twMem_Free(void* pBlock);                              // 0 for null or a block without marker
void* twMem_GetTempBuffer(int iSize, int bClear);          // iSize 0: all of it; null when too large
int twMem_List(int iMinSize);                              // logs live chunks of at least that size
const char* twMem_GetUsageString(void);
int twMem_Shutdown(void);                                  // frees the temp buffer, reports leaks
uint32_t twMem_GetUsed(void);
// Thin forwarders to the plain allocator, for blocks that want no chunk header
void* twMem_PlainMalloc(uint64_t uiSize);
void twMem_PlainFree(void* pBlock);
#ifdef AMB_TEST_HOOKS
// Test builds: every allocation of this name fails from now on, the temp buffer's as
// "pTempBuffer"; null ends it
void twMem_FailNamed(const char* pstrName);
#endif
