// The item tree: a small spatial index that answers which items' boxes touch a box. Space
// is halved across its longest axis; an item may lie in several leaves, and a stamp per
// query keeps it from being reported twice. The world keeps one over its element groups.
#pragma once
#include <stdint.h>

#include "engine/list.h"

// One item; the caller owns the array. An element group begins with these fields.
struct TwTreeItem {
    float vCentre[3], vHalfSize[3];
    uint32_t uiStamp; // the last query that returned it
    void* pData;      // what the item stands for
};

// A node: a leaf holds items, an inner node two halves.
struct TwBox {
    float vCentre[3], vHalfSize[3];
    int32_t iId;
    int32_t bLeaf;
    float vSplit[3];         // inner nodes: a quarter of the extent on the split axis, 0 elsewhere
    TwTreeItem** ppItems;    // leaves only, owned
    int32_t iNumItems;
    TwBox* pFront;           // above the split
    TwBox* pBack;
};

struct TwTree {
    int32_t iMaxItemsInLeaf;
    int32_t iMaxRecurse;     // cap on splits
    uint32_t uiMaxMemory;    // for the caller's information
    int32_t iRecurse;        // splits so far
    uint32_t uiMemory;       // bytes of boxes and item lists now
    uint32_t uiMaxMemoryUsed;
    TwList* pBoxList;        // every node; the first is the root
    int32_t iNumBoxes;       // source of the ids
    TwTreeItem** ppOut;      // where the running query writes
    uint32_t uiStamp;        // number of the current query
};

#define TW_TREE_ITEM_BYTES 32 // item lists are sized at this per entry

TwTree* twTree_InitNewTree(void);
TwBox* twTree_AllocateNewBox(TwTree* pTree);
int twTree_Build(TwTree* pTree, const TwBox* pRootTemplate);
int twTree_GetItemsInBox(TwTree* pTree, const float* pCentre, const float* pHalfSize, TwTreeItem** ppOut);
void twTree_Free(TwTree* pTree);
int twTree_ClassifyItem(const TwBox* pBox, const float* pSplit, const TwTreeItem* pItem); // 1 front, 2 back, 3 both
