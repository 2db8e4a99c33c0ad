#include "engine/sort.h"

#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"

static void QuickSort(int32_t* piArray, int iLeft, int iRight)
{
    // recursion into the left part, a loop over the right part
    while (iLeft < iRight) {
        int32_t iPivot = piArray[(iLeft + iRight) / 2];
        int i = iLeft, j = iRight;
        while (i <= j) {
            while (piArray[i] < iPivot)
                i++;
            while (piArray[j] > iPivot)
                j--;
            if (i <= j) {
                int32_t iSwap = piArray[i];
                piArray[i] = piArray[j];
                piArray[j] = iSwap;
                i++;
                j--;
            }
        }
        if (iLeft < j)
            QuickSort(piArray, iLeft, j);
        iLeft = i;
    }
}

int twSort_Init(TwSort* pSort, int iMaxItems)
{
    memset(pSort, 0, sizeof(TwSort));
    if (iMaxItems < 0) {
        twLogError("twSort_Init", "!MaxItems %d is negative\n", iMaxItems);
        return 0;
    }
    pSort->iMaxItems = iMaxItems;
    pSort->piArray = (int32_t*)twMem_Malloc((uint32_t)iMaxItems * 4, "pSort->piArray");
    if (!pSort->piArray) {
        twLogError("twSort_Init", "!malloc : piArray\n");
        return 0;
    }
    pSort->piConsumed = (int32_t*)twMem_Malloc((uint32_t)iMaxItems * 4, "pSort->piConsumed");
    if (!pSort->piConsumed) {
        twLogError("twSort_Init", "!malloc : piConsumed\n");
        twSort_Free(pSort);
        return 0;
    }
    return 1;
}

int twSort_AddValue(TwSort* pSort, int iValue)
{
    if (pSort->iNumItems >= pSort->iMaxItems) {
        twLogError("twSort_AddValue", "NumItems %d >= MaxItems %d\n", pSort->iNumItems, pSort->iMaxItems);
        return 0;
    }
    if (!pSort->piArray)
        return 1;
    pSort->piArray[pSort->iNumItems++] = iValue;
    return 1;
}

void twSort_Sort(TwSort* pSort)
{
    if (!pSort->piArray)
        return;
    QuickSort(pSort->piArray, 0, pSort->iNumItems - 1);
    memset(pSort->piConsumed, 0, (size_t)pSort->iNumItems * 4);
    pSort->bSorted = 1;
}

int twSort_GetIndex(TwSort* pSort, int iValue)
{
    if (!pSort->bSorted) {
        twLogError("twSort_GetIndex", "!List not sorted\n");
        return -1;
    }
    // the first slot of the value's run, then as many further as were found before
    int iLow = 0, iHigh = pSort->iNumItems;
    while (iLow < iHigh) {
        int iMiddle = iLow + (iHigh - iLow) / 2;
        if (pSort->piArray[iMiddle] < iValue)
            iLow = iMiddle + 1;
        else
            iHigh = iMiddle;
    }
    if (iLow < pSort->iNumItems && pSort->piArray[iLow] == iValue) {
        int i = iLow + pSort->piConsumed[iLow];
        if (i < pSort->iNumItems && pSort->piArray[i] == iValue) {
            pSort->piConsumed[iLow]++;
            return i;
        }
    }
    twLogError("twSort_GetIndex", "!Failed to find value %d\n", iValue);
    return -1;
}

void twSort_Clear(TwSort* pSort)
{
    if (pSort->piArray)
        memset(pSort->piArray, 0, (size_t)pSort->iNumItems * 4);
    pSort->iNumItems = 0;
    pSort->bSorted = 0;
}

void twSort_Free(TwSort* pSort)
{
    if (pSort->piArray)
        twMem_Free(pSort->piArray);
    if (pSort->piConsumed)
        twMem_Free(pSort->piConsumed);
    pSort->piArray = nullptr;
    pSort->piConsumed = nullptr;
    pSort->iMaxItems = 0;
    pSort->iNumItems = 0;
    pSort->bSorted = 0;
}
