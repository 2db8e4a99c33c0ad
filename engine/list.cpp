#include "engine/list.h"

#include <stdlib.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"

int twList_Init(TwList* pList)
{
    memset(pList, 0, sizeof(TwList));
    return 1;
}

static TwList* AppendNode(TwList* pList, TwList* pAfter, void* pData, int iIndex)
{
    TwList* pNew = (TwList*)calloc(1, sizeof(TwList));
    if (!pNew) {
        twLogError("twList_AddPointer", "!malloc : pNew\n");
        return nullptr;
    }
    pNew->pData = pData;
    if (pAfter)
        pAfter->pNext = pNew;
    else
        pList->pNext = pNew;
    pList->pLast = pNew;
    pList->iLast = iIndex;
    return pNew;
}

int twList_AddPointer(TwList* pList, void* pData)
{
    // the fast path trusts pLast; only a head that lost it is searched for gaps and duplicates
    if (pList->pLast) {
        if (!AppendNode(pList, pList->pLast, pData, pList->iLast + 1))
            return -1;
        return pList->iLast;
    }
    int iIndex = 0;
    TwList* pPrev = nullptr;
    for (TwList* pNode = pList->pNext; pNode; pNode = pNode->pNext) {
        if (!pNode->pData) {
            pNode->pData = pData;
            return iIndex;
        }
        if (pNode->pData == pData)
            return iIndex;
        pPrev = pNode;
        iIndex++;
    }
    if (!AppendNode(pList, pPrev, pData, iIndex))
        return -1;
    return iIndex;
}

int twList_AddPointerNew(TwList** ppList, void* pData, const char* pstrName)
{
    if (!*ppList) {
        *ppList = (TwList*)twMem_Malloc(sizeof(TwList), pstrName);
        if (!*ppList)
            return -1;
    }
    int iIndex = twList_AddPointer(*ppList, pData);
    return iIndex < 0 ? -2 : iIndex;
}

void twList_Delete(TwList** ppList, int iMode)
{
    if (!*ppList)
        return;
    twList_Free(*ppList, iMode);
    twMem_Free(*ppList);
    *ppList = nullptr;
}

int twList_Count(TwList* pList)
{
    int iCount = 0;
    for (TwList* pNode = pList->pNext; pNode; pNode = pNode->pNext)
        if (pNode->pData)
            iCount++;
    return iCount;
}

int twList_Free(TwList* pList, int iMode)
{
    TwList* pNode = pList->pNext;
    while (pNode) {
        TwList* pNext = pNode->pNext;
        if (pNode->pData) {
            if (iMode == 1)
                twMem_Free(pNode->pData);
            else if (iMode == 2)
                free(pNode->pData);
        }
        free(pNode);
        pNode = pNext;
    }
    pList->pNext = nullptr;
    pList->pLast = nullptr;
    return 1;
}

void twStack_Init(TwStack* pStack)
{
    pStack->ppItems = pStack->apLocal;
    pStack->iDepth = 0;
    pStack->iCapacity = TW_STACK_LOCAL;
}

int twStack_Push(TwStack* pStack, void* pItem)
{
    if (pStack->iDepth == pStack->iCapacity) {
        int iCapacity = pStack->iCapacity * 2;
        void** ppBigger = (void**)malloc((size_t)iCapacity * sizeof(void*));
        if (!ppBigger)
            return 0;
        memcpy(ppBigger, pStack->ppItems, (size_t)pStack->iDepth * sizeof(void*));
        if (pStack->ppItems != pStack->apLocal)
            free(pStack->ppItems);
        pStack->ppItems = ppBigger;
        pStack->iCapacity = iCapacity;
    }
    pStack->ppItems[pStack->iDepth++] = pItem;
    return 1;
}

void* twStack_Pop(TwStack* pStack)
{
    return pStack->iDepth > 0 ? pStack->ppItems[--pStack->iDepth] : nullptr;
}

void twStack_Free(TwStack* pStack)
{
    if (pStack->ppItems != pStack->apLocal)
        free(pStack->ppItems);
    twStack_Init(pStack);
}
