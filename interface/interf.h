// The panel toolkit: named pages of widgets drawn over the picture in window pixels. One
// pass a frame draws the shown page, hit-tests it against the mouse and changes the bound
// variables; the name of the widget under the pointer is left for the commands to compare.
#pragma once
#include <stdint.h>

#include "engine/list.h"

struct TwTexture;

#define TW_INTERF_NAME_SIZE 64
#define TW_INTERF_TEXT_SIZE 128
#define TW_INTERF_MAX_LIST_ITEMS 20
#define TW_INTERF_VALUE_WIDTH 169
#define TW_INTERF_VALUE_HEIGHT 16
#define TW_INTERF_NUM_TEXTURES 4

enum TwValueType { TW_VALUE_INT = 0, TW_VALUE_FLOAT = 1, TW_VALUE_OPTION = 2 };

// A page's widget lists, in the order they are drawn after the quads
enum TwInterfList {
    TW_LIST_QUADS,
    TW_LIST_STATIC_TEXTS,
    TW_LIST_POINTER_TEXTS,
    TW_LIST_UNUSED1,
    TW_LIST_BUTTONS,
    TW_LIST_PUSH_BUTTONS,
    TW_LIST_FAKE_BUTTONS,
    TW_LIST_CONTAINERS,
    TW_LIST_UNUSED2,
    TW_LIST_LAYER_LISTS,
    TW_LIST_TEXTURES,
    TW_LIST_TEXTURES2,
    TW_LIST_VALUES,
    TW_NUM_LISTS
};

struct TwInterfQuad {
    int32_t x, y, iWidth, iHeight;
    int32_t ucGrey;
    int32_t bFilled;
};

struct TwInterfButton { // also the fake button, which has only the rectangle and the name
    int32_t x, y, iWidth, iHeight;
    char szName[TW_INTERF_NAME_SIZE];
    int32_t iType;    // always 0
    int32_t bDown;    // drawn down
    int32_t bToggles; // a click flips bDown
    int32_t bHidden;
    int32_t bFramed;  // drawn on the panel's grey; 0 for page tabs
    int32_t bGreyed;  // shown in grey, and not hit: what it stands for can't be done now
};

struct TwInterfPushButton {
    int32_t x, y, iWidth, iHeight;
    char szName[TW_INTERF_NAME_SIZE];
    int32_t bUnused;
    int32_t* piValue; // flips between 0 and 1
    int32_t bFrame;
};

struct TwInterfContainer {
    int32_t x, y, iWidth, iHeight;
    const char* pstrText; // a text that can change; null draws the box alone
};

struct TwInterfLayerList {
    int32_t x, y, iWidth, iHeight;
    int32_t iNumItems;
    int32_t aiSelected[TW_INTERF_MAX_LIST_ITEMS];
    int32_t aiHovered[TW_INTERF_MAX_LIST_ITEMS];
    uint8_t** ppLayers; // the layer table's page shown
};

struct TwInterfStaticText {
    int32_t x, y;
    int32_t iStyle;     // above 9: a background box behind the text
    int32_t iAlignment; // 1 and 2 shift the text left by its width
    char szText[TW_INTERF_TEXT_SIZE];
};

struct TwInterfPointerText {
    int32_t x, y;
    int32_t iUnused;
    const char* pstrText;
};

struct TwInterfTexture {
    int32_t x, y, iWidth, iHeight;
    int32_t bBlend;
    TwTexture* pTexture;
};

struct TwInterfTexture2 {
    int32_t x, y;
    int32_t bBlend;
    TwTexture** ppTexture; // whatever texture the owner points at now
};

struct TwInterfValue {
    int32_t x, y;
    int32_t iType;       // TwValueType
    int32_t* piValue;
    float* pfValue;
    float fMin, fMax, fStep;
    const float* pfScale; // float display: >= 0 "%.0f" of value x scale, < 0 "%.2f" of value x |scale|
    const char* const* ppstrOptions;
    int32_t* piOption;
    int32_t bOffAtZero;
    const int32_t* piState; // null or 0 active, 1 shown only, 2 and more a fixed text
    const char* pstrUnit;
};

struct TwInterfPage {
    char szName[TW_INTERF_NAME_SIZE];
    TwList aLists[TW_NUM_LISTS];
};

struct TwInterf {
    int32_t bDrawn;
    int32_t iWidth, iHeight;
    int32_t iPanelWidth, iPanelHeight;
    int32_t bEnabled;
    const char* pstrValueHighlight; // a container showing this text draws it in colour
    int32_t *piMouseX, *piMouseY;   // the pointer for hit tests: still while the left button is held
    int32_t *piLiveX, *piLiveY;     // the pointer as it moves
    int32_t bValueListOpen;         // a drop-down was drawn this frame
    int32_t* piListTarget;          // the drop-down's option under the pointer
    int32_t iListChoice;
    TwInterfPage* pPage;            // the page shown, or null
    TwList pPageList;
    const char* pstrButtonHit;      // the name under the pointer this frame
    float fFade;                    // 0 to 1
    TwTexture* apTextures[TW_INTERF_NUM_TEXTURES]; // pointer, check mark, hidden and shown layer marks
};

extern TwInterf* pInterf;

int twInter_Init(int iWidth, int iHeight, int iPanelWidth, int iPanelHeight, int32_t* piMouseX, int32_t* piMouseY,
                 int32_t* piLiveX, int32_t* piLiveY);
int twInterf_Free(void);
int twInterf_AddPage(const char* pstrName);
int twInterf_SelectPage(const char* pstrName); // the shown page's own name closes it
const char* twInterf_GetPageName(void);
int twInterf_IsPage(const char* pstrName);
const char* twInterf_GetButtonHit(void);
int twInterf_TakeValueListOpen(void);
int twInterf_ShowButton(const char* pstrName, int bShow);
int twInterf_ChangeButton(const char* pstrName, const char* pstrNewName);
// The shown page's button at a place, renamed, shown or hidden, greyed or not: for buttons
// whose names change with what they stand for
int twInterf_SetButtonAt(int x, int y, const char* pstrName, int bHidden, int bGreyed);
int twInterf_AddQuad(int x, int y, int iWidth, int iHeight, int ucGrey, int bFilled);
int twInterf_AddButton(int x, int y, int iWidth, int iHeight, const char* pstrName, int bDown, int bToggles,
                       int bHidden, int bFramed);
int twInterf_AddPushButton(int x, int y, int iWidth, int iHeight, const char* pstrName, int32_t* piValue, int bFrame);
int twInterf_AddFakeButton(int x, int y, int iWidth, int iHeight, const char* pstrName);
int twInterf_AddContainer(int x, int y, int iWidth, int iHeight, const char* pstrText);
int twInterf_AddLayerList(int x, int y, int iWidth, int iHeight, int iNumItems, uint8_t** ppLayers);
int twInterf_AddStaticText(int x, int y, int iStyle, int iAlignment, const char* pstrText);
int twInterf_AddPointerText(int x, int y, const char* pstrText);
TwTexture* twInterf_AddTexture(int x, int y, int iWidth, int iHeight, int bBlend, const char* pstrTextureName);
int twInterf_AddTexture2(int x, int y, int bBlend, TwTexture** ppTexture);
int twInterf_AddValue(int x, int y, int iType, int32_t* piValue, float* pfValue, float fMin, float fMax, float fStep,
                      const float* pfScale, const char* const* ppstrOptions, int32_t* piOption, int bOffAtZero,
                      const int32_t* piState, const char* pstrUnit);
void twInterf_Draw(int bHeld, int bPressed, int iMouseDx, int iMouseDy, int bHints, float fPanelY);
