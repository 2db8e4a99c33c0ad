// A fixed-capacity integer array, sorted once and then consumed: each stored value can be
// found once only, so equal keys get successive positions.
#pragma once
#include <stdint.h>

struct TwSort {
    int32_t* piArray;    // iMaxItems entries; tracked name "pSort->piArray"
    int32_t* piConsumed; // at the first slot of each run of equal values: how many were found
    int32_t iNumItems;   // entries in use
    int32_t iMaxItems;   // capacity
    int32_t bSorted;     // 1 after twSort_Sort
};

int twSort_Init(TwSort* pSort, int iMaxItems);  // clears, allocates the array
int twSort_AddValue(TwSort* pSort, int iValue); // appends; 0 when full
void twSort_Sort(TwSort* pSort);                // ascending, in place
int twSort_GetIndex(TwSort* pSort, int iValue); // position of the first unconsumed match, or -1
void twSort_Clear(TwSort* pSort);               // empties the array, keeps the capacity
void twSort_Free(TwSort* pSort);                // frees the array
