#include "interface/interf.h"

#include <GL/glew.h>
#include <stdio.h>
#include <string.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "platform/ogl.h"

#define TAG "twInterf"
#define GREY_REST 40
#define GREY_HOVER 140
#define TEXT_FONT 0
#define FADE_RATE 1.4f
#define LIST_ITEM_WIDTH 168
#define LIST_STEP 15
#define LIST_LEFT 170      // the drop-down's left side, from the value's
#define LAYER_ROW_STEP 14
#define HINT_LINE_STEP 15
#define CURSOR_SIZE 32
#define STR_QUIT_TAB 107   // the quit tab glows red under the pointer
#define STR_VALUE_OFF 170  // "Off" of a value that stands at zero
#define STR_STATE_FIRST 185 // fixed texts of values that are shown but not active

TwInterf* pInterf = nullptr;

static const char* s_apstrTextures[TW_INTERF_NUM_TEXTURES] = {"Cursor.tga", "Check.tga", "Cross.tga", "Cross2.tga"};
enum { TEX_CURSOR, TEX_CHECK, TEX_HIDDEN, TEX_SHOWN };

// This pass's pointer and greys, read once at its head
static struct {
    int x, y, iLiveX, iLiveY;
    int bHeld, bPressed, iDx;
    float fRest, fHover;
    int bDragging;
    int bListOpen;
    const TwInterfValue* pDragged;
} s_pass;

int twInter_Init(int iWidth, int iHeight, int iPanelWidth, int iPanelHeight, int32_t* piMouseX, int32_t* piMouseY,
                 int32_t* piLiveX, int32_t* piLiveY)
{
    pInterf = (TwInterf*)twMem_Malloc(sizeof(TwInterf), "pInterf");
    if (!pInterf) {
        twLogError("twInter_Init", "!malloc : pInterf\n");
        return 0;
    }
    TwInterf* I = pInterf;
    I->iWidth = iWidth;
    I->iHeight = iHeight;
    I->iPanelWidth = iPanelWidth;
    I->iPanelHeight = iPanelHeight;
    I->bEnabled = 1;
    I->piMouseX = piMouseX;
    I->piMouseY = piMouseY;
    I->piLiveX = piLiveX;
    I->piLiveY = piLiveY;
    twList_Init(&I->pPageList);
    for (int i = 0; i < TW_INTERF_NUM_TEXTURES; i++) {
        FILE* pFile = twCore_GetResource(s_apstrTextures[i], nullptr);
        if (!pFile) {
            twLogError("twInter_Init", "!twCore_GetResource :'%s'\n", s_apstrTextures[i]);
            return 0;
        }
        I->apTextures[i] = twOgl_LoadTexture(s_apstrTextures[i], pFile, GL_RGBA, 1, 0, 2);
        fclose(pFile);
        if (!I->apTextures[i]) {
            twLogError("twInter_Init", "!twOgl_LoadTexture : pTextures[%d]\n", i);
            return 0;
        }
    }
    return 1;
}

int twInterf_Free(void)
{
    if (!pInterf)
        return 1;
    for (TwList* p = pInterf->pPageList.pNext; p; p = p->pNext) {
        TwInterfPage* pPage = (TwInterfPage*)p->pData;
        for (int l = 0; l < TW_NUM_LISTS; l++)
            twList_Free(&pPage->aLists[l], 1);
        twMem_Free(pPage);
    }
    twList_Free(&pInterf->pPageList, 0);
    for (int i = 0; i < TW_INTERF_NUM_TEXTURES; i++)
        twOgl_ReleaseTexture(&pInterf->apTextures[i]);
    twMem_Free(pInterf);
    pInterf = nullptr;
    return 1;
}

int twInterf_SetButtonAt(int x, int y, const char* pstrName, int bHidden, int bGreyed)
{
    if (!pInterf || !pInterf->pPage)
        return 0;
    for (TwList* p = pInterf->pPage->aLists[TW_LIST_BUTTONS].pNext; p; p = p->pNext) {
        TwInterfButton* b = (TwInterfButton*)p->pData;
        if (b->x == x && b->y == y) {
            snprintf(b->szName, sizeof(b->szName), "%s", pstrName ? pstrName : "");
            b->bHidden = bHidden;
            b->bGreyed = bGreyed;
            return 1;
        }
    }
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Pages
// ---------------------------------------------------------------------------------------------

static TwInterfPage* FindPage(const char* pstrName)
{
    if (!pInterf || !pstrName)
        return nullptr;
    for (TwList* p = pInterf->pPageList.pNext; p; p = p->pNext) {
        TwInterfPage* pPage = (TwInterfPage*)p->pData;
        if (!strcmp(pPage->szName, pstrName))
            return pPage;
    }
    return nullptr;
}

int twInterf_AddPage(const char* pstrName)
{
    if (!pInterf)
        return 0;
    TwInterfPage* pPage = (TwInterfPage*)twMem_Malloc(sizeof(TwInterfPage), "pPage");
    if (!pPage) {
        twLogError(TAG, "!malloc : pPage\n");
        return 0;
    }
    snprintf(pPage->szName, sizeof(pPage->szName), "%s", pstrName ? pstrName : "");
    if (twList_AddPointer(&pInterf->pPageList, pPage) < 0) {
        twLogError(TAG, "!twList_AddPointer\n");
        twMem_Free(pPage);
        return 0;
    }
    pInterf->pPage = pPage;
    return 1;
}

int twInterf_SelectPage(const char* pstrName)
{
    if (!pInterf)
        return 0;
    TwInterfPage* pPage = FindPage(pstrName);
    // a second press on the page shown closes it
    if (!pPage || pPage == pInterf->pPage) {
        pInterf->pPage = nullptr;
        return pPage != nullptr;
    }
    pInterf->pPage = pPage;
    pInterf->fFade = 0;
    return 1;
}

const char* twInterf_GetPageName(void) { return pInterf && pInterf->pPage ? pInterf->pPage->szName : nullptr; }

int twInterf_IsPage(const char* pstrName)
{
    return pstrName && twInterf_GetPageName() && !strcmp(twInterf_GetPageName(), pstrName);
}

const char* twInterf_GetButtonHit(void) { return pInterf ? pInterf->pstrButtonHit : nullptr; }

int twInterf_TakeValueListOpen(void)
{
    if (!pInterf)
        return 0;
    int bOpen = pInterf->bValueListOpen;
    pInterf->bValueListOpen = 0;
    return bOpen;
}

static TwInterfButton* FindButton(const char* pstrName, const char* pstrTag)
{
    if (!pInterf || !pInterf->pPage) {
        twLogError(pstrTag, "!Page must be selected\n");
        return nullptr;
    }
    for (TwList* p = pInterf->pPage->aLists[TW_LIST_BUTTONS].pNext; p; p = p->pNext) {
        TwInterfButton* pButton = (TwInterfButton*)p->pData;
        if (pstrName && !strcmp(pButton->szName, pstrName))
            return pButton;
    }
    twLogError(pstrTag, "!Failed to find button '%s' in page '%s'\n", pstrName ? pstrName : "",
               pInterf->pPage->szName);
    return nullptr;
}

int twInterf_ShowButton(const char* pstrName, int bShow)
{
    TwInterfButton* pButton = FindButton(pstrName, "twInterf_ShowButton");
    if (!pButton)
        return 0;
    pButton->bHidden = !bShow;
    return 1;
}

int twInterf_ChangeButton(const char* pstrName, const char* pstrNewName)
{
    TwInterfButton* pButton = FindButton(pstrName, "twInterf_ChangeButton");
    if (!pButton)
        return 0;
    snprintf(pButton->szName, sizeof(pButton->szName), "%s", pstrNewName ? pstrNewName : "");
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Widgets
// ---------------------------------------------------------------------------------------------

// A cleared widget record on the selected page's list, or null with its line
static void* AddWidget(int iList, int iSize, const char* pstrName)
{
    if (!pInterf || !pInterf->pPage) {
        twLogError(TAG, "page must be selected\n");
        return nullptr;
    }
    void* pWidget = twMem_Malloc(iSize, pstrName);
    if (!pWidget) {
        twLogError(TAG, "!malloc : %s\n", pstrName);
        return nullptr;
    }
    if (twList_AddPointer(&pInterf->pPage->aLists[iList], pWidget) < 0) {
        twLogError(TAG, "!twList_AddPointer\n");
        twMem_Free(pWidget);
        return nullptr;
    }
    return pWidget;
}

int twInterf_AddQuad(int x, int y, int iWidth, int iHeight, int ucGrey, int bFilled)
{
    TwInterfQuad* q = (TwInterfQuad*)AddWidget(TW_LIST_QUADS, sizeof(TwInterfQuad), "pQuad");
    if (!q)
        return 0;
    *q = {x, y, iWidth, iHeight, ucGrey, bFilled};
    return 1;
}

static TwInterfButton* AddButtonTo(int iList, int x, int y, int iWidth, int iHeight, const char* pstrName)
{
    TwInterfButton* b = (TwInterfButton*)AddWidget(iList, sizeof(TwInterfButton), "pButton");
    if (!b)
        return nullptr;
    b->x = x;
    b->y = y;
    b->iWidth = iWidth;
    b->iHeight = iHeight;
    snprintf(b->szName, sizeof(b->szName), "%s", pstrName ? pstrName : "");
    return b;
}

int twInterf_AddButton(int x, int y, int iWidth, int iHeight, const char* pstrName, int bDown, int bToggles,
                       int bHidden, int bFramed)
{
    TwInterfButton* b = AddButtonTo(TW_LIST_BUTTONS, x, y, iWidth, iHeight, pstrName);
    if (!b)
        return 0;
    b->bDown = bDown;
    b->bToggles = bToggles;
    b->bHidden = bHidden;
    b->bFramed = bFramed;
    return 1;
}

int twInterf_AddFakeButton(int x, int y, int iWidth, int iHeight, const char* pstrName)
{
    return AddButtonTo(TW_LIST_FAKE_BUTTONS, x, y, iWidth, iHeight, pstrName) != nullptr;
}

int twInterf_AddPushButton(int x, int y, int iWidth, int iHeight, const char* pstrName, int32_t* piValue, int bFrame)
{
    TwInterfPushButton* b =
        (TwInterfPushButton*)AddWidget(TW_LIST_PUSH_BUTTONS, sizeof(TwInterfPushButton), "pPushButton");
    if (!b)
        return 0;
    b->x = x;
    b->y = y;
    b->iWidth = iWidth;
    b->iHeight = iHeight;
    snprintf(b->szName, sizeof(b->szName), "%s", pstrName ? pstrName : "");
    b->piValue = piValue;
    b->bFrame = bFrame;
    return 1;
}

int twInterf_AddContainer(int x, int y, int iWidth, int iHeight, const char* pstrText)
{
    TwInterfContainer* c = (TwInterfContainer*)AddWidget(TW_LIST_CONTAINERS, sizeof(TwInterfContainer), "pContainer");
    if (!c)
        return 0;
    *c = {x, y, iWidth, iHeight, pstrText};
    return 1;
}

int twInterf_AddLayerList(int x, int y, int iWidth, int iHeight, int iNumItems, uint8_t** ppLayers)
{
    if (iNumItems > TW_INTERF_MAX_LIST_ITEMS || iNumItems < 0) {
        twLogError(TAG, "items %d > max items %d\n", iNumItems, TW_INTERF_MAX_LIST_ITEMS);
        return 0;
    }
    TwInterfLayerList* l = (TwInterfLayerList*)AddWidget(TW_LIST_LAYER_LISTS, sizeof(TwInterfLayerList), "pLayerList");
    if (!l)
        return 0;
    l->x = x;
    l->y = y;
    l->iWidth = iWidth;
    l->iHeight = iHeight;
    l->iNumItems = iNumItems;
    l->ppLayers = ppLayers;
    return 1;
}

int twInterf_AddStaticText(int x, int y, int iStyle, int iAlignment, const char* pstrText)
{
    TwInterfStaticText* t =
        (TwInterfStaticText*)AddWidget(TW_LIST_STATIC_TEXTS, sizeof(TwInterfStaticText), "pStaticText");
    if (!t)
        return 0;
    t->x = x;
    t->y = y;
    t->iStyle = iStyle;
    t->iAlignment = iAlignment;
    snprintf(t->szText, sizeof(t->szText), "%s", pstrText ? pstrText : "");
    return 1;
}

int twInterf_AddPointerText(int x, int y, const char* pstrText)
{
    TwInterfPointerText* t =
        (TwInterfPointerText*)AddWidget(TW_LIST_POINTER_TEXTS, sizeof(TwInterfPointerText), "pPointerText");
    if (!t)
        return 0;
    *t = {x, y, 0, pstrText};
    return 1;
}

TwTexture* twInterf_AddTexture(int x, int y, int iWidth, int iHeight, int bBlend, const char* pstrTextureName)
{
    if (!pstrTextureName) {
        twLogError(TAG, "!pstrTextureName\n");
        return nullptr;
    }
    TwTexture* pTexture = twOgl_LoadResourceTexture(pstrTextureName, pstrTextureName, pstrTextureName, TAG);
    if (!pTexture)
        return nullptr;
    TwInterfTexture* t = (TwInterfTexture*)AddWidget(TW_LIST_TEXTURES, sizeof(TwInterfTexture), "pTexture");
    if (!t) {
        twOgl_FreeTexture(pTexture);
        return nullptr;
    }
    // the owner frees the texture: it may point others at it
    *t = {x, y, iWidth, iHeight, bBlend, pTexture};
    return pTexture;
}

int twInterf_AddTexture2(int x, int y, int bBlend, TwTexture** ppTexture)
{
    TwInterfTexture2* t = (TwInterfTexture2*)AddWidget(TW_LIST_TEXTURES2, sizeof(TwInterfTexture2), "pTexture2");
    if (!t)
        return 0;
    *t = {x, y, bBlend, ppTexture};
    return 1;
}

int twInterf_AddValue(int x, int y, int iType, int32_t* piValue, float* pfValue, float fMin, float fMax, float fStep,
                      const float* pfScale, const char* const* ppstrOptions, int32_t* piOption, int bOffAtZero,
                      const int32_t* piState, const char* pstrUnit)
{
    if (pstrUnit && iType == TW_VALUE_OPTION) {
        twLogError(TAG, "Unit string only valid for int and float type\n");
        return 0;
    }
    if (pfScale && iType != TW_VALUE_FLOAT) {
        twLogError(TAG, "Display scale only valid for float type\n");
        return 0;
    }
    TwInterfValue* v = (TwInterfValue*)AddWidget(TW_LIST_VALUES, sizeof(TwInterfValue), "pValue");
    if (!v)
        return 0;
    *v = {x, y, iType, piValue, pfValue, fMin, fMax, fStep, pfScale, ppstrOptions, piOption, bOffAtZero, piState,
          pstrUnit};
    return 0; // as it always has: callers don't test it
}

// ---------------------------------------------------------------------------------------------
// The pass
// ---------------------------------------------------------------------------------------------

static int Inside(int x, int y, int iWidth, int iHeight)
{
    return x < s_pass.x && s_pass.x < x + iWidth && y < s_pass.y && s_pass.y < y + iHeight;
}

static void Grey(float fGrey) { glColor4f(fGrey, fGrey, fGrey, pInterf->fFade); }

static void White(void) { glColor4f(1, 1, 1, pInterf->fFade); }

// A widget's frame: 0 at rest, 1 under the pointer, 2 down
static void Frame(int x, int y, int iWidth, int iHeight, int iState, int bFramed)
{
    if (iState == 0)
        Grey(bFramed ? s_pass.fRest : 0);
    else if (iState == 1)
        Grey(bFramed ? s_pass.fHover : 0);
    else
        Grey(s_pass.fHover * 1.4f);
    twOgl_DrawRect(x, y, iWidth, iHeight, 0);
}

static void Text(int x, int y, const char* pstrText)
{
    twOgl_DrawText(TEXT_FONT, x, y, pstrText);
}

static void CentredText(int x, int y, int iWidth, const char* pstrText)
{
    Text(x + (iWidth - twOgl_GetTextWidth(TEXT_FONT, pstrText)) / 2, y, pstrText);
}

static void DrawButtons(const TwInterfPage* pPage)
{
    for (TwList* p = pPage->aLists[TW_LIST_BUTTONS].pNext; p; p = p->pNext) {
        TwInterfButton* b = (TwInterfButton*)p->pData;
        if (b->bHidden)
            continue;
        int bHit = !b->bGreyed && Inside(b->x, b->y, b->iWidth, b->iHeight);
        if (bHit) {
            pInterf->pstrButtonHit = b->szName;
            if (s_pass.bPressed && b->bToggles)
                b->bDown = !b->bDown;
        }
        if (bHit && !strcmp(b->szName, twStrings_Get(STR_QUIT_TAB))) {
            glBegin(GL_QUADS);
            glColor4f(0.8f, 0.1f, 0.1f, pInterf->fFade);
            glVertex2i(b->x, b->y);
            glVertex2i(b->x + b->iWidth, b->y);
            glColor4f(0.3f, 0, 0, pInterf->fFade);
            glVertex2i(b->x + b->iWidth, b->y + b->iHeight);
            glVertex2i(b->x, b->y + b->iHeight);
            glEnd();
        } else if (b->bDown && !b->bFramed) {
            // a tab down is its page's: it takes the panel's grey, so the user sees where he is
            Frame(b->x, b->y, b->iWidth, b->iHeight, 0, 1);
        } else {
            Frame(b->x, b->y, b->iWidth, b->iHeight, b->bDown ? 1 + b->bToggles : bHit, b->bFramed);
        }
        if (b->bGreyed)
            glColor4f(0.5f, 0.5f, 0.5f, pInterf->fFade);
        else
            White();
        CentredText(b->x, b->y - 2, b->iWidth, b->szName);
    }
}

static void DrawPushButtons(const TwInterfPage* pPage)
{
    for (TwList* p = pPage->aLists[TW_LIST_PUSH_BUTTONS].pNext; p; p = p->pNext) {
        TwInterfPushButton* b = (TwInterfPushButton*)p->pData;
        int bHit = Inside(b->x, b->y, b->iWidth, b->iHeight);
        if (bHit) {
            pInterf->pstrButtonHit = b->szName;
            if (s_pass.bPressed && b->piValue)
                *b->piValue = !*b->piValue;
        }
        Frame(b->x, b->y, b->iWidth, b->iHeight, b->piValue && *b->piValue ? 2 : bHit, 1);
        White();
        CentredText(b->x, b->y - 2, b->iWidth, b->szName);
    }
}

static void DrawLayerList(TwInterfLayerList* l)
{
    memset(l->aiHovered, 0, sizeof(l->aiHovered));
    if (!l->ppLayers)
        return;
    int iTop = l->y + l->iHeight;
    for (int r = 0; r < l->iNumItems; r++, iTop -= LAYER_ROW_STEP) {
        uint8_t* pLayer = l->ppLayers[r];
        if (!pLayer)
            continue;
        char szName[TW_LAYER_SIZE - TW_LAYER_NAME_OFFSET + 1];
        memcpy(szName, pLayer + TW_LAYER_NAME_OFFSET, sizeof(szName) - 1);
        szName[sizeof(szName) - 1] = 0; // the record's name isn't trusted to end
        int iTextWidth = twOgl_GetTextWidth(TEXT_FONT, szName);
        if (iTextWidth <= 1)
            continue;
        int bHit = s_pass.x > l->x && s_pass.x < l->x + iTextWidth + 34 && s_pass.y < iTop - 6 && s_pass.y > iTop - 20;
        int32_t* pbVisible = (int32_t*)(pLayer + TW_LAYER_VISIBLE_OFFSET);
        if (bHit) {
            l->aiHovered[r] = 1;
            if (s_pass.bPressed) {
                *pbVisible = !*pbVisible;
                memset(l->aiSelected, 0, sizeof(l->aiSelected));
                l->aiSelected[r] = 1;
            }
        }
        if (bHit)
            White();
        else
            Grey(0.66f);
        Text(l->x + 24, iTop - 18, szName);
        twOgl_DrawImage(l->x + 4, iTop - 16, 16, 16, pInterf->apTextures[*pbVisible ? TEX_SHOWN : TEX_HIDDEN], 1);
    }
}

// The text a value shows now
static void ValueText(const TwInterfValue* v, char* pstrOut, int iSize)
{
    int iState = v->piState ? *v->piState : 0;
    if (iState >= 2) {
        snprintf(pstrOut, iSize, "%s", twStrings_Get(STR_STATE_FIRST + iState));
        return;
    }
    const char* pstrUnit = v->pstrUnit ? v->pstrUnit : "";
    if (v->iType == TW_VALUE_OPTION) {
        int iOption = v->piOption ? *v->piOption : 0;
        const char* pstrOption = v->ppstrOptions && iOption >= (int)v->fMin && iOption <= (int)v->fMax
                                     ? v->ppstrOptions[iOption]
                                     : "";
        snprintf(pstrOut, iSize, "%s", pstrOption ? pstrOption : "");
        return;
    }
    float fValue = v->iType == TW_VALUE_INT ? (v->piValue ? (float)*v->piValue : 0) : (v->pfValue ? *v->pfValue : 0);
    if (v->bOffAtZero && fValue > -0.02f && fValue < 0.02f)
        snprintf(pstrOut, iSize, "%s", twStrings_Get(STR_VALUE_OFF));
    else if (v->iType == TW_VALUE_INT)
        snprintf(pstrOut, iSize, "%d%s", (int)fValue, pstrUnit);
    else if (!v->pfScale)
        snprintf(pstrOut, iSize, "%.0f%s", fValue, pstrUnit);
    else if (*v->pfScale >= 0)
        snprintf(pstrOut, iSize, "%.0f%s", fValue * *v->pfScale, pstrUnit);
    else
        snprintf(pstrOut, iSize, "%.2f%s", fValue * -*v->pfScale, pstrUnit);
}

// An option's drop-down: the live pointer picks, the pass's end stores the choice
static void DropDown(const TwInterfValue* v)
{
    int iFirst = (int)v->fMin, iLast = (int)v->fMax, iCount = iLast - iFirst + 1;
    if (iCount <= 0 || !v->piOption)
        return;
    // the column hangs from the value, and moves up where it would leave the window
    int iTop = v->y + TW_INTERF_VALUE_HEIGHT;
    int iBottom = iTop - (iCount - 1) * LIST_STEP - TW_INTERF_VALUE_HEIGHT;
    if (iBottom < 2)
        iTop += 2 - iBottom;
    int x = v->x + LIST_LEFT;
    for (int i = 0; i < iCount; i++) {
        int y = iTop - TW_INTERF_VALUE_HEIGHT - i * LIST_STEP;
        int bHit = s_pass.iLiveX > x && s_pass.iLiveX < x + LIST_ITEM_WIDTH && s_pass.iLiveY > y &&
                   s_pass.iLiveY < y + LIST_STEP;
        Frame(x, y, LIST_ITEM_WIDTH, LIST_STEP, bHit, 1);
        if (bHit) {
            pInterf->piListTarget = v->piOption;
            pInterf->iListChoice = iFirst + i;
        }
        White();
        const char* pstrOption = v->ppstrOptions ? v->ppstrOptions[iFirst + i] : nullptr;
        Text(x + 18, y - 2, pstrOption ? pstrOption : "");
        if (iFirst + i == *v->piOption)
            twOgl_DrawImage(x + 2, y, 15, 15, pInterf->apTextures[TEX_CHECK], 1);
    }
    pInterf->bValueListOpen = 1;
    s_pass.bListOpen = 1;
}

// A drag on the spot: the engine's pointer stands still while the mouse moves the value
static void Drag(TwInterfValue* v)
{
    int bClamped = 0;
    if (v->iType == TW_VALUE_INT && v->piValue) {
        int iValue = *v->piValue + s_pass.iDx;
        int iMin = (int)(v->fMin + (v->fMin < 0 ? -0.5f : 0.5f)), iMax = (int)(v->fMax + (v->fMax < 0 ? -0.5f : 0.5f));
        bClamped = iValue <= iMin || iValue >= iMax;
        *v->piValue = iValue < iMin ? iMin : iValue > iMax ? iMax : iValue;
    } else if (v->iType == TW_VALUE_FLOAT && v->pfValue) {
        float fValue = *v->pfValue + v->fStep * (float)s_pass.iDx;
        bClamped = fValue <= v->fMin || fValue >= v->fMax;
        *v->pfValue = fValue < v->fMin ? v->fMin : fValue > v->fMax ? v->fMax : fValue;
    }
    White();
    Text(v->x + 3, v->y - 2, bClamped ? "|" : "<");
    Text(v->x + TW_INTERF_VALUE_WIDTH - 9, v->y - 2, bClamped ? "|" : ">");
    s_pass.bDragging = 1;
    s_pass.pDragged = v;
}

static void DrawValues(const TwInterfPage* pPage)
{
    for (TwList* p = pPage->aLists[TW_LIST_VALUES].pNext; p; p = p->pNext) {
        TwInterfValue* v = (TwInterfValue*)p->pData;
        int bActive = !v->piState || *v->piState == 0;
        int bHover = bActive && Inside(v->x, v->y, TW_INTERF_VALUE_WIDTH, TW_INTERF_VALUE_HEIGHT);
        Frame(v->x, v->y, TW_INTERF_VALUE_WIDTH, TW_INTERF_VALUE_HEIGHT, bHover, 1);
        char szText[TW_INTERF_TEXT_SIZE];
        ValueText(v, szText, sizeof(szText));
        if (bActive)
            White();
        else
            Grey(0.6f);
        CentredText(v->x, v->y - 2, TW_INTERF_VALUE_WIDTH, szText);
        if (bHover && s_pass.bHeld) {
            if (v->iType == TW_VALUE_OPTION)
                DropDown(v);
            else
                Drag(v);
        }
    }
}

static void DrawHintBox(int bHints)
{
    if (!bHints)
        return;
    static const int aiLines[4] = {433, 430, 431, 432};
    int x = s_pass.x, y = s_pass.y;
    glColor4f(0, 0, 0, pInterf->fFade);
    twOgl_DrawRect(x + 27, y - 54, 239, 68, 0);
    Grey(0.157f);
    twOgl_DrawRect(x + 28, y - 53, 237, 66, 0);
    White();
    for (int i = 0; i < 4; i++)
        Text(x + 32, y - 2 - i * HINT_LINE_STEP, twStrings_Get(aiLines[i]));
}

static void DrawPointer(void)
{
    TwTexture* pCursor = pInterf->apTextures[TEX_CURSOR];
    int x = s_pass.iLiveX, y = s_pass.iLiveY - CURSOR_SIZE; // the tip at the image's top left
    glColor4f(0, 0, 0, 1);
    twOgl_DrawImage(x + 2, y - 2, CURSOR_SIZE, CURSOR_SIZE, pCursor, 1);
    glColor4f(1, 1, 1, 1);
    twOgl_DrawImage(x, y, CURSOR_SIZE, CURSOR_SIZE, pCursor, 1);
}

void twInterf_Draw(int bHeld, int bPressed, int iMouseDx, int iMouseDy, int bHints, float fPanelY)
{
    TwInterf* I = pInterf;
    if (!I || !I->pPage)
        return;
    const TwInterfPage* pPage = I->pPage;
    I->bDrawn = 1;
    I->pstrButtonHit = nullptr;
    s_pass.x = I->piMouseX ? *I->piMouseX : 0;
    s_pass.y = I->piMouseY ? *I->piMouseY : 0;
    s_pass.iLiveX = I->piLiveX ? *I->piLiveX : s_pass.x;
    s_pass.iLiveY = I->piLiveY ? *I->piLiveY : s_pass.y;
    // the widgets move with the panel; the pointer is where it is on the screen
    s_pass.y += (int)fPanelY;
    s_pass.iLiveY += (int)fPanelY;
    s_pass.bHeld = bHeld;
    s_pass.bPressed = bPressed;
    s_pass.iDx = iMouseDx;
    (void)iMouseDy; // values move sideways only
    s_pass.fRest = I->fFade * GREY_REST / 255.0f;
    s_pass.fHover = I->fFade * GREY_HOVER / 255.0f;
    s_pass.bDragging = 0;
    s_pass.bListOpen = 0;
    s_pass.pDragged = nullptr;
    glPushMatrix();
    glTranslatef(0, -fPanelY, 0);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);

    // faded in, the quads are opaque: blending them would give the same pixels, dearer
    if (I->fFade >= 1)
        glDisable(GL_BLEND);
    for (TwList* p = pPage->aLists[TW_LIST_QUADS].pNext; p; p = p->pNext) {
        const TwInterfQuad* q = (const TwInterfQuad*)p->pData;
        Grey(I->fFade * q->ucGrey / 255.0f);
        if (!q->bFilled)
            twOgl_DrawRect(q->x, q->y, q->iWidth, q->iHeight, 1);
        twOgl_DrawRect(q->x, q->y, q->iWidth, q->iHeight, 0);
    }
    glEnable(GL_BLEND);
    for (TwList* p = pPage->aLists[TW_LIST_TEXTURES].pNext; p; p = p->pNext) {
        const TwInterfTexture* t = (const TwInterfTexture*)p->pData;
        White();
        twOgl_DrawImage(t->x, t->y, t->iWidth, t->iHeight, t->pTexture, t->bBlend);
    }
    for (TwList* p = pPage->aLists[TW_LIST_TEXTURES2].pNext; p; p = p->pNext) {
        const TwInterfTexture2* t = (const TwInterfTexture2*)p->pData;
        White();
        if (t->ppTexture)
            twOgl_DrawImage(t->x, t->y, 0, 0, *t->ppTexture, t->bBlend);
    }
    DrawButtons(pPage);
    DrawPushButtons(pPage);
    for (TwList* p = pPage->aLists[TW_LIST_FAKE_BUTTONS].pNext; p; p = p->pNext) {
        TwInterfButton* b = (TwInterfButton*)p->pData;
        if (Inside(b->x, b->y, b->iWidth, b->iHeight))
            I->pstrButtonHit = b->szName;
    }
    for (TwList* p = pPage->aLists[TW_LIST_CONTAINERS].pNext; p; p = p->pNext) {
        const TwInterfContainer* c = (const TwInterfContainer*)p->pData;
        Grey(s_pass.fRest);
        twOgl_DrawRect(c->x, c->y, c->iWidth, TW_INTERF_VALUE_HEIGHT, 0);
        if (!c->pstrText)
            continue;
        if (I->pstrValueHighlight && !strcmp(c->pstrText, I->pstrValueHighlight))
            glColor4f(0, 0.9f, 0.9f, I->fFade);
        else
            White();
        Text(c->x + 4, c->y - 2, c->pstrText);
    }
    for (TwList* p = pPage->aLists[TW_LIST_LAYER_LISTS].pNext; p; p = p->pNext)
        DrawLayerList((TwInterfLayerList*)p->pData);
    for (TwList* p = pPage->aLists[TW_LIST_STATIC_TEXTS].pNext; p; p = p->pNext) {
        const TwInterfStaticText* t = (const TwInterfStaticText*)p->pData;
        int x = t->x;
        if (t->iAlignment == 1 || t->iAlignment == 2)
            x -= twOgl_GetTextWidth(TEXT_FONT, t->szText);
        if (t->iStyle > 9) {
            Grey(s_pass.fRest);
            twOgl_DrawRect(t->x, t->y, TW_INTERF_VALUE_WIDTH, TW_INTERF_VALUE_HEIGHT, 0);
        }
        White();
        Text(x, t->y - 2, t->szText);
    }
    for (TwList* p = pPage->aLists[TW_LIST_POINTER_TEXTS].pNext; p; p = p->pNext) {
        const TwInterfPointerText* t = (const TwInterfPointerText*)p->pData;
        White();
        if (t->pstrText)
            Text(t->x, t->y, t->pstrText);
    }
    DrawValues(pPage);

    if (s_pass.bListOpen && I->piListTarget) {
        *I->piListTarget = I->iListChoice;
        I->piListTarget = nullptr;
    }
    glTranslatef(0, fPanelY, 0);
    if (!s_pass.bDragging)
        DrawPointer();
    else
        DrawHintBox(bHints);
    if (I->fFade < 1) {
        I->fFade += twTimer_GetDelta() * FADE_RATE;
        if (I->fFade > 1)
            I->fFade = 1;
    }
    glDisable(GL_BLEND);
    glColor4f(1, 1, 1, 1);
    glPopMatrix();
}
