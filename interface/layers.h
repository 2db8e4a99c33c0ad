// The model's layers: a table of the records the model file carries, shown a page at a
// time in the layer list. A layer's visibility is the word at record offset 4.
#pragma once
#include <stdint.h>
#include <stdio.h>

#define TW_LAYER_SIZE 268
#define TW_LAYER_VISIBLE_OFFSET 4
#define TW_LAYER_NAME_OFFSET 10
#define TW_LAYERS_MAX 100000 // more layers than any model has: taken for a damaged count

struct TwLayers {
    uint8_t* pLayers;              // iNumPages x iPageSize records of TW_LAYER_SIZE bytes
    uint8_t** ppLayersForInterface; // iPageSize pointers: the page shown
    int32_t iPageSize;             // rows of the list
    int32_t iNumLayers;            // layers loaded
    int32_t iNumPages;             // at least 1
    int32_t iPage;                 // page shown
};

extern TwLayers* pLayers;

int twLayers_Init(int iPageSize);
int twLayers_Load(FILE* pFile, int iNumLayers);  // reads the records, all shown
uint8_t* twLayers_GetLayer(int iIndex);          // the record, or null with a log line
uint8_t* twLayers_Find(int iIndex);              // the record, or null without one
int twLayers_IsVisible(int iIndex);              // 0 for a hidden or unknown layer
void twLayers_SetVisible(int iIndex, int bVisible); // an unknown layer is passed over
// The names of the hidden layers, each ending in a zero, an empty name after the last: a
// block to free, kept across a new model of the same layers; null, logged, out of memory
char* twLayers_KeepHidden(int* piCount);
int twLayers_HideNamed(const char* pstrNames);   // the layers of those names hidden; how many
int twLayers_Free(void);
int twLayers_NextPage(void);
int twLayers_PrevPage(void);
uint8_t** twLayers_GetList(void);
int twLayers_GetPageSize(void);
