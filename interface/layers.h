// The model's layers: a table of the records the model file carries, shown a page at a
// time in the layer list. A layer's visibility is the word at record offset 4. Layers of
// several models ("<model> / <storey>") are listed under a row of their model's, which
// hides or shows them all at once.
#pragma once
#include <stdint.h>
#include <stdio.h>

#define TW_LAYER_SIZE 268
#define TW_LAYER_VISIBLE_OFFSET 4
#define TW_LAYER_NAME_OFFSET 10
#define TW_LAYERS_MAX 100000 // more layers than any model has: taken for a damaged count
#define TW_LAYER_SOURCE_MARK " / " // between a layer's model and its storey

struct TwLayers {
    uint8_t* pLayers;              // iNumPages x iPageSize records of TW_LAYER_SIZE bytes
    uint8_t** ppLayersForInterface; // iPageSize pointers: the page shown
    int32_t iPageSize;             // rows of the list
    int32_t iNumLayers;            // layers loaded
    int32_t iNumPages;             // at least 1
    int32_t iPage;                 // page shown
    // the list's rows when layers of several models are grouped: a layer's index, or -1 -
    // h for the row of model h, whose record is in pSources; null: the layers in order
    int32_t* piRows;
    int32_t iNumRows;
    uint8_t* pSources;             // a record a model: its name, and shown while any of its layers is
    int32_t* piSourceShown;        // each model row's word as last set here: another is the user's press
    int32_t* piLayerSource;        // each layer's model, -1: none
    int32_t iNumSources;
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
// A model row pressed in the list hides or shows its layers; each model row then shows
// whether any of its layers is shown. Before the layers are asked after a press.
void twLayers_SyncSources(void);
int twLayers_NumSources(void);                   // models whose layers are grouped; 0: none
int twLayers_SourceVisible(int iSource);         // 1 while any of its layers is shown
void twLayers_SetSourceVisible(int iSource, int bVisible);
const char* twLayers_SourceName(int iSource);    // or null
int twLayers_Free(void);
int twLayers_NextPage(void);
int twLayers_PrevPage(void);
uint8_t** twLayers_GetList(void);
int twLayers_GetPageSize(void);
