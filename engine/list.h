// A singly linked list of pointers, and a stack of pointers for walking trees without
// recursion. The list's head has the shape of a node; nodes come from the plain allocator.
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
// Adds to a list whose tracked head is made on first need under the name: the item's
// index, -1 when the head can't be made, -2 when the item can't be added
int twList_AddPointerNew(TwList** ppList, void* pData, const char* pstrName);
void twList_Delete(TwList** ppList, int iMode);  // frees the nodes and the tracked head, if any, and clears it

// A stack of pointers: the first entries live in the record, deeper ones on the heap, so
// that a tree of any depth is walked without the call stack.
#define TW_STACK_LOCAL 64
struct TwStack {
    void** ppItems;  // apLocal, or a heap block once deeper
    int32_t iDepth;
    int32_t iCapacity;
    void* apLocal[TW_STACK_LOCAL];
};

void twStack_Init(TwStack* pStack);
int twStack_Push(TwStack* pStack, void* pItem); // 0 when out of memory
void* twStack_Pop(TwStack* pStack);            // null when empty
void twStack_Free(TwStack* pStack);
