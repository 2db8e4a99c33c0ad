// A singly linked list of pointers. The head has the shape of a node; nodes come from
// the plain allocator.
#pragma once
#include <stdint.h>

struct TwList {
    void* pData;     // the item (unused in the head)
    TwList* pNext;   // next node; in the head, the first node
    TwList* pLast;   // head only: the last node, null when the list is empty
    int32_t iLast;   // head only: the index of the last node
};

int twList_Init(TwList* pList);                   // zeroes the head
int twList_AddPointer(TwList* pList, void* pData); // the new item's index, or -1
int twList_Count(TwList* pList);                  // nodes whose item isn't null
int twList_Free(TwList* pList, int iMode);        // frees the nodes; items: 0 kept, 1 twMem_Free, 2 free
