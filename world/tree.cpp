#include "world/tree.h"

#include <stddef.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "world/world.h"

#define BUILD_TAG "twTree_Build"
#define RECURSE_TAG "twTree_BuildRecursive"
#define GROUP_TAG "twWorld_CreateElementGroupBsp"
#define LEAF_MIN_HALF_SIZE 4.0f // no leaf is split below an 8-metre cube, however full
#define GROUP_TREE_ITEMS_IN_LEAF 6
#define GROUP_TREE_MAX_RECURSE 80000
#define GROUP_TREE_MAX_MEMORY 41943040u

// An element group is its own tree item: the item's fields open the group's record
static_assert(offsetof(TwElementGroup, vCentre) == offsetof(TwTreeItem, vCentre), "group opens with an item");
static_assert(offsetof(TwElementGroup, vHalfSize) == offsetof(TwTreeItem, vHalfSize), "group opens with an item");
static_assert(offsetof(TwElementGroup, uiVisibleFrame) == offsetof(TwTreeItem, uiStamp), "group opens with an item");
static_assert(offsetof(TwElementGroup, pData) == offsetof(TwTreeItem, pData), "group opens with an item");

TwTree* twTree_InitNewTree(void)
{
    TwTree* pTree = (TwTree*)twMem_Malloc(sizeof(TwTree), "pTree");
    if (!pTree) {
        twLogError("twTree_InitNewTree", "!malloc : pTree\n");
        return nullptr;
    }
    pTree->pBoxList = (TwList*)twMem_Malloc(sizeof(TwList), "pTree->pBoxList");
    if (!pTree->pBoxList) {
        twLogError("twTree_InitNewTree", "!malloc : pTree->pBoxList\n");
        twMem_Free(pTree);
        return nullptr;
    }
    twList_Init(pTree->pBoxList);
    return pTree;
}

static void CountMemory(TwTree* pTree, uint32_t uiBytes)
{
    pTree->uiMemory += uiBytes;
    if (pTree->uiMemory > pTree->uiMaxMemoryUsed)
        pTree->uiMaxMemoryUsed = pTree->uiMemory;
}

TwBox* twTree_AllocateNewBox(TwTree* pTree)
{
    TwBox* pBox = (TwBox*)twMem_Malloc(sizeof(TwBox), "pBox");
    if (!pBox) {
        twLogError("twTree_AllocateNewBox", "!malloc : pBox\n");
        return nullptr;
    }
    if (twList_AddPointer(pTree->pBoxList, pBox) < 0) {
        twLogError("twTree_AllocateNewBox", "!twList_AddPointer : pBox\n");
        twMem_Free(pBox);
        return nullptr;
    }
    pBox->iId = pTree->iNumBoxes++;
    CountMemory(pTree, sizeof(TwBox));
    return pBox;
}

static void MakeLeaf(TwTree* pTree, TwBox* pBox)
{
    pBox->bLeaf = 1;
    pTree->iNumBoxes++;
}

int twTree_ClassifyItem(const TwBox* pBox, const float* pSplit, const TwTreeItem* pItem)
{
    int iAxis = twBox_AxisOf(pSplit);
    // the eight corners take two values on the axis
    float fLow = pItem->vCentre[iAxis] - pItem->vHalfSize[iAxis];
    float fHigh = pItem->vCentre[iAxis] + pItem->vHalfSize[iAxis];
    float fPlane = pBox->vCentre[iAxis];
    int bFront = fLow >= fPlane || fHigh >= fPlane;
    int bBack = fLow < fPlane || fHigh < fPlane;
    if (bFront && bBack)
        return 3;
    if (bBack)
        return 2;
    return bFront ? 1 : 0;
}

static TwTreeItem** AllocateItems(TwTree* pTree, int iNumItems, const char* pstrName)
{
    uint32_t uiBytes = (uint32_t)iNumItems * TW_TREE_ITEM_BYTES;
    TwTreeItem** ppItems = (TwTreeItem**)twMem_Malloc(uiBytes, pstrName);
    if (ppItems)
        CountMemory(pTree, uiBytes);
    return ppItems;
}

// Splits one box in two, or makes it a leaf. *pbSplit tells whether the children are to be
// visited; the result is 0 where the build gives up on this branch.
static int SplitBox(TwTree* pTree, TwBox* pBox, int* pbSplit)
{
    *pbSplit = 0;
    if (pBox->iNumItems <= pTree->iMaxItemsInLeaf) {
        MakeLeaf(pTree, pBox);
        return 1;
    }
    if (pBox->vHalfSize[0] < LEAF_MIN_HALF_SIZE && pBox->vHalfSize[1] < LEAF_MIN_HALF_SIZE &&
        pBox->vHalfSize[2] < LEAF_MIN_HALF_SIZE) {
        MakeLeaf(pTree, pBox);
        return 1;
    }
    if (pTree->iRecurse >= pTree->iMaxRecurse || pTree->uiMemory > pTree->uiMaxMemoryUsed) {
        MakeLeaf(pTree, pBox);
        return 0;
    }
    pTree->iRecurse++;
    // a box that fails to split keeps its items as a leaf, so queries stay whole
    TwBox* pFront = twTree_AllocateNewBox(pTree);
    if (!pFront) {
        twLogError(RECURSE_TAG, "!twTree_AllocateNewBox : pFront\n");
        MakeLeaf(pTree, pBox);
        return 0;
    }
    TwBox* pBack = twTree_AllocateNewBox(pTree);
    if (!pBack) {
        twLogError(RECURSE_TAG, "!twTree_AllocateNewBox : pBack\n");
        MakeLeaf(pTree, pBox);
        return 0;
    }
    float afAxis[3];
    twBox_LongestAxis(pBox->vHalfSize, afAxis);
    for (int i = 0; i < pBox->iNumItems; i++) {
        int iSide = twTree_ClassifyItem(pBox, afAxis, pBox->ppItems[i]);
        if (!iSide) {
            twLogError(RECURSE_TAG, "!twTree_ClassifyItem : T_ERROR\n");
            MakeLeaf(pTree, pBox);
            return 0;
        }
        pFront->iNumItems += (iSide & 1) != 0;
        pBack->iNumItems += (iSide & 2) != 0;
    }
    pFront->ppItems = AllocateItems(pTree, pFront->iNumItems, "pFront->ppItems");
    if (!pFront->ppItems) {
        twLogError(RECURSE_TAG, "!malloc : pFront->ppItems\n");
        MakeLeaf(pTree, pBox);
        return 0;
    }
    pBack->ppItems = AllocateItems(pTree, pBack->iNumItems, "pBack->ppItems");
    if (!pBack->ppItems) {
        twLogError(RECURSE_TAG, "!malloc : pBack->ppItems\n");
        MakeLeaf(pTree, pBox);
        return 0;
    }
    twBox_Halve(pBox->vCentre, pBox->vHalfSize, afAxis, pBox->vSplit, pFront->vCentre, pFront->vHalfSize,
                pBack->vCentre, pBack->vHalfSize);
    int iFront = 0, iBack = 0;
    for (int i = 0; i < pBox->iNumItems; i++) {
        int iSide = twTree_ClassifyItem(pBox, afAxis, pBox->ppItems[i]);
        if (iSide & 1)
            pFront->ppItems[iFront++] = pBox->ppItems[i];
        if (iSide & 2)
            pBack->ppItems[iBack++] = pBox->ppItems[i];
    }
    twMem_Free(pBox->ppItems);
    pBox->ppItems = nullptr;
    pTree->uiMemory -= (uint32_t)pBox->iNumItems * TW_TREE_ITEM_BYTES;
    pBox->pFront = pFront;
    pBox->pBack = pBack;
    *pbSplit = 1;
    return 1;
}

int twTree_Build(TwTree* pTree, const TwBox* pRootTemplate)
{
    pTree->iRecurse = 0;
    pTree->uiMemory = 0;
    pTree->uiMaxMemoryUsed = 0;
    TwBox* pRoot = twTree_AllocateNewBox(pTree);
    if (!pRoot)
        return 0;
    int iId = pRoot->iId;
    memcpy(pRoot, pRootTemplate, sizeof(TwBox));
    pRoot->iId = iId;
    twLog(BUILD_TAG, "Building bsp tree recursive\n");
    // front before back, depth first; the pending boxes wait on a stack of our own, as a
    // world of unbounded boxes would split as deep as the cap allows
    int iResult = 1;
    TwStack stack;
    twStack_Init(&stack);
    TwBox* pBox = pRoot;
    while (pBox) {
        int bSplit;
        int bOk = SplitBox(pTree, pBox, &bSplit);
        if (pBox == pRoot)
            iResult = bOk;
        if (bSplit && !(twStack_Push(&stack, pBox->pBack) && twStack_Push(&stack, pBox->pFront))) {
            twLogError(RECURSE_TAG, "!malloc : pStack\n");
            break;
        }
        pBox = (TwBox*)twStack_Pop(&stack);
    }
    // boxes left unvisited keep their items as leaves
    while ((pBox = (TwBox*)twStack_Pop(&stack)) != nullptr)
        MakeLeaf(pTree, pBox);
    twStack_Free(&stack);
    if (!iResult)
        twLogError(BUILD_TAG, "!twTree_BuildRecursive\n");
    twLog(BUILD_TAG, "Number of bsp volumes = %d\n", twList_Count(pTree->pBoxList));
    twLog(BUILD_TAG, "Memory allocated = %.3f MB\n", pTree->uiMemory / 1000000.0);
    twLog(BUILD_TAG, "Max memory used = %.3f MB\n", pTree->uiMaxMemoryUsed / 1000000.0);
    return iResult;
}

int twTree_GetItemsInBox(TwTree* pTree, const float* pCentre, const float* pHalfSize, TwTreeItem** ppOut)
{
    pTree->ppOut = ppOut;
    int iCount = 0;
    TwBox* pRoot = pTree->pBoxList->pNext ? (TwBox*)pTree->pBoxList->pNext->pData : nullptr;
    TwBox* pBox = pRoot && twBox_Overlap(pRoot->vCentre, pRoot->vHalfSize, pCentre, pHalfSize) ? pRoot : nullptr;
    TwStack stack;
    twStack_Init(&stack);
    while (pBox) {
        TwBox* pNext = nullptr;
        if (pBox->bLeaf) {
            for (int i = 0; i < pBox->iNumItems; i++) {
                TwTreeItem* pItem = pBox->ppItems[i];
                if (pItem->uiStamp != pTree->uiStamp) {
                    pItem->uiStamp = pTree->uiStamp;
                    ppOut[iCount++] = pItem;
                }
            }
        } else {
            int iAxis = twBox_AxisOf(pBox->vSplit);
            float fPlane = pBox->vCentre[iAxis];
            int bFront = fPlane < pCentre[iAxis] + pHalfSize[iAxis];
            int bBack = fPlane > pCentre[iAxis] - pHalfSize[iAxis];
            if (bFront && bBack && !twStack_Push(&stack, pBox->pBack)) {
                // too deep for the memory there is: the query sees the front side only
                twLogError("twTree_GetItemsInBox", "!malloc : pStack\n");
                bBack = 0;
            }
            pNext = bFront ? pBox->pFront : (bBack ? pBox->pBack : nullptr);
        }
        pBox = pNext ? pNext : (TwBox*)twStack_Pop(&stack);
    }
    twStack_Free(&stack);
    ppOut[iCount] = nullptr;
    pTree->uiStamp++;
    return iCount;
}

void twTree_Free(TwTree* pTree)
{
    if (!pTree)
        return;
    for (TwList* p = pTree->pBoxList->pNext; p; p = p->pNext) {
        TwBox* pBox = (TwBox*)p->pData;
        if (pBox && pBox->ppItems)
            twMem_Free(pBox->ppItems);
    }
    twList_Free(pTree->pBoxList, 1);
    twMem_Free(pTree->pBoxList);
    twMem_Free(pTree);
}

int twWorld_CreateElementGroupBsp(void)
{
    TwWorld* w = pWorld;
    TwTree* pTree = twTree_InitNewTree();
    if (!pTree) {
        twLogError(GROUP_TAG, "!twTree_InitNewTree\n");
        return 0;
    }
    TwBox root = {};
    root.ppItems = (TwTreeItem**)twMem_Malloc((uint32_t)(w->iNumElementGroups + 1) * TW_TREE_ITEM_BYTES, "box.ppItems");
    if (!root.ppItems) {
        twLogError(GROUP_TAG, "!malloc : box.ppItems\n");
        twTree_Free(pTree);
        return 0;
    }
    for (int g = 0; g < w->iNumElementGroups; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        pGroup->pData = pGroup;
        root.ppItems[g] = (TwTreeItem*)pGroup;
    }
    memcpy(root.vCentre, w->vCentre, sizeof(w->vCentre));
    memcpy(root.vHalfSize, w->vHalfSize, sizeof(w->vHalfSize));
    root.iNumItems = w->iNumElementGroups;
    pTree->iMaxItemsInLeaf = GROUP_TREE_ITEMS_IN_LEAF;
    pTree->iMaxRecurse = GROUP_TREE_MAX_RECURSE;
    pTree->uiMaxMemory = GROUP_TREE_MAX_MEMORY;
    if (!twTree_Build(pTree, &root)) {
        twLogError(GROUP_TAG, "!twWorld_BuildBspRecursive\n");
        // the root owns the list once it is made
        if (!pTree->pBoxList->pNext)
            twMem_Free(root.ppItems);
        twTree_Free(pTree);
        return 0;
    }
    w->pElementGroupTree = pTree;
    return 1;
}
