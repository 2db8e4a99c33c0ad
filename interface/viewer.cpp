// The viewer's panel and its commands: the pages built once from the toolkit, and the one
// place where keys and clicks become engine actions, at the end of every frame. A command
// is known by the text of its button, so the string ids are the contract with the pages.
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/model_link.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "engine/vector.h"
#include "interface/dev.h"
#include "interface/gallery.h"
#include "interface/interf.h"
#include "interface/layers.h"
#include "interface/measure.h"
#include "interface/section.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/input.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "world/world.h"

#define TW_MOUSE_LOOK_BUTTON TW_MOUSE_RIGHT // held: level the view, or keep a flight's height

// Panel geometry: rows from the panel's top, 17 pixels apart; two label and two field columns
#define ROW(n) (pEngine->iInterfHeight - 24 - 17 * (n))
#define LABEL1 188
#define FIELD1 358
#define LABEL2 545
#define FIELD2 715
#define TAB_X 2
#define WIDGET_W 169
#define WIDGET_H 16
#define WIDE_W 526
#define PANEL_H 233
#define POINTER_MARGIN 10
#define SCREENSHOT_FAILED_SECONDS 4.0f // the message that a screenshot couldn't be written

// Text ids of the pages and their commands
enum {
    STR_PAGE_FILE = 100, STR_PAGE_VIEW, STR_PAGE_LIGHT, STR_PAGE_LAYERS, STR_PAGE_GALLERY, STR_PAGE_KEYS,
    STR_PAGE_ABOUT, STR_QUIT,
    STR_MODEL_FILE = 110, STR_OPEN = 112, STR_PUBLISH_WIN = 116, STR_PUBLISH_MAC = 117,
    STR_LIGHT_NOT_OFFERED = 220, STR_LIGHT_CARRIED = 156,
    STR_LIGHT_VIEW = 204, STR_LIGHT_CONTINUE = 205, STR_LIGHT_START = 206, STR_LIGHT_NO_GPU = 207,
    STR_LAYERS_PREV = 240, STR_LAYERS_NEXT = 241, STR_LAYERS_LOCKED = 242,
    STR_GALLERY_DELETE = 301, STR_GALLERY_EARLIER, STR_GALLERY_LATER, STR_GALLERY_SUN, STR_GALLERY_IDLE,
    STR_GALLERY_STOP, STR_GALLERY_ALL, STR_GALLERY_PREV, STR_GALLERY_NEXT, STR_GALLERY_VIDEO,
    STR_QUALITY_FIRST = 223, STR_SCENE_FIRST = 138, STR_METRES = 141,
    STR_PAGE_SUN = 108, STR_SUN_FOLLOW = 500, STR_SUN_YEAR, STR_SUN_MONTH, STR_SUN_DAY, STR_SUN_HOUR,
    STR_SUN_MINUTE, STR_SUN_LATITUDE, STR_SUN_LONGITUDE, STR_SUN_UTC, STR_SUN_NORTH,
    STR_SMOOTH_EDGES = 520, STR_SCREENSHOTS, STR_OFF_ON, STR_SHOT_FORMATS = 524,
    STR_OPEN_MODEL = 540, STR_LIVE_LINK = 542, STR_RECENT = 543, STR_ADD_MODEL = 559, STR_REMOVE_MODEL = 560,
    STR_DATA_COPIED = 391, STR_SECTION_FULL = 570, STR_CLASSES = 571, STR_STOREYS = 572, STR_PAGE_FIND = 109, STR_FIND_WORD = 562, STR_FIND_COUNT, STR_FIND_NONE,
};
#define PAGE_LAYERS_LOCKED "LAYERSRAD"
#define GALLERY_IMAGE "GALLERYIMAGE"

// What the pages show that the engine doesn't keep as text
static struct {
    char szTriangles[64], szTextures[64], szMemory[64];
    char szEmpty[4];
    char aszQuality[3][TW_TEXT_SIZE];
    const char* apszQuality[3];
    char aszScene[2][TW_TEXT_SIZE];
    const char* apszScene[2];
    char aszUnits[2][TW_TEXT_SIZE];
    const char* apszUnits[2];
    char aszOffOn[2][TW_TEXT_SIZE], aszShotFormats[2][TW_TEXT_SIZE];
    const char* apszOffOn[2];
    const char* apszShotFormats[2];
    int32_t bLiveLink;            // the Model page's switch, handed to the link when it moves
    int bHasLight;                // the light page offers the job
    int iLightButton;             // the text the start button bears now: 206, 205, or 207 without the means
} s_ui;

static const char* Str(int iId) { return twStrings_Get(iId); }

static int KeyDown(int iKey) { return twInput_KeyDown(iKey) != 0; }

// ---------------------------------------------------------------------------------------------
// The pages
// ---------------------------------------------------------------------------------------------

// The black panel and the tabs, the page's own drawn down
static void AddTabs(int iOwnId)
{
    TwEngine* e = pEngine;
    twInterf_AddQuad(0, 0, twWindow_GetWidth(), e->iInterfHeight, 0, 1);
    int iRow = 1;
    for (int iId = STR_PAGE_FILE; iId <= STR_PAGE_ABOUT; iId++) {
        if (iId == STR_PAGE_FILE && e->bStandAlone)
            continue;
        twInterf_AddButton(TAB_X, ROW(iRow++), WIDGET_W, WIDGET_H, Str(iId), iId == iOwnId, 0, 0, 0);
    }
    twInterf_AddButton(TAB_X, ROW(iRow++), WIDGET_W, WIDGET_H, Str(STR_PAGE_SUN), iOwnId == STR_PAGE_SUN, 0, 0, 0);
    twInterf_AddButton(TAB_X, ROW(iRow), WIDGET_W, WIDGET_H, Str(STR_PAGE_FIND), iOwnId == STR_PAGE_FIND, 0, 0, 0);
    twInterf_AddButton(TAB_X, ROW(10), WIDGET_W, WIDGET_H, Str(STR_QUIT), 0, 0, 0, 0);
}

static void StaticAt(int x, int iRow, int iId) { twInterf_AddStaticText(x, ROW(iRow), 0, 0, Str(iId)); }

static void Labels(int x, const int* piRows, const int* piIds, int iCount)
{
    for (int i = 0; i < iCount; i++)
        StaticAt(x, piRows[i], piIds[i]);
}

static void Option(int x, int iRow, int32_t* piOption, int iCount, const char* const* ppstrNames, const int32_t* piState)
{
    twInterf_AddValue(x, ROW(iRow), TW_VALUE_OPTION, nullptr, nullptr, 0, (float)(iCount - 1), 1, nullptr, ppstrNames,
                      piOption, 0, piState, nullptr);
}

static void Float(int x, int iRow, float* pfValue, float fMin, float fMax, float fStep, const float* pfScale,
                  const int32_t* piState, const char* pstrUnit, int bOffAtZero)
{
    twInterf_AddValue(x, ROW(iRow), TW_VALUE_FLOAT, nullptr, pfValue, fMin, fMax, fStep, pfScale, nullptr, nullptr,
                      bOffAtZero, piState, pstrUnit);
}

static void Int(int x, int iRow, int32_t* piValue, int iMin, int iMax, const int32_t* piState)
{
    twInterf_AddValue(x, ROW(iRow), TW_VALUE_INT, piValue, nullptr, (float)iMin, (float)iMax, 1, nullptr, nullptr,
                      nullptr, 0, piState, nullptr);
}

// The recent models' buttons: the labels change as the list does, so they are found by place
#define RECENT_ROW 6
#define RECENT_W 696

static void PageFile(void)
{
    TwEngine* e = pEngine;
    twInterf_AddPage(Str(STR_PAGE_FILE));
    AddTabs(STR_PAGE_FILE);
    StaticAt(LABEL1, 1, STR_MODEL_FILE);
    twInterf_AddContainer(FIELD1, ROW(1), WIDE_W, WIDGET_H, e->szModelPath);
    twInterf_AddButton(FIELD1, ROW(2), WIDGET_W, WIDGET_H, Str(STR_OPEN_MODEL), 0, 0, 0, 1);
    twInterf_AddButton(FIELD2, ROW(2), WIDGET_W, WIDGET_H, Str(STR_OPEN), 0, 0, 0, 1);
    if (pLink) {
        StaticAt(LABEL1, 3, STR_LIVE_LINK);
        Option(FIELD1, 3, &s_ui.bLiveLink, 2, s_ui.apszOffOn, nullptr);
        twInterf_AddContainer(FIELD1, ROW(4), WIDGET_W + 10, WIDGET_H, pLink->szLinkStatus);
        // several models at once: one more, or one fewer
        twInterf_AddButton(LABEL2, ROW(2), WIDGET_W, WIDGET_H, Str(STR_ADD_MODEL), 0, 0, 0, 1);
        twInterf_AddButton(LABEL2, ROW(3), WIDGET_W, WIDGET_H, Str(STR_REMOVE_MODEL), 0, 0, 0, 1);
        StaticAt(LABEL1, RECENT_ROW - 1, STR_RECENT);
        for (int i = 0; i < TW_RECENT_MAX; i++)
            twInterf_AddButton(LABEL1, ROW(RECENT_ROW + i), RECENT_W, WIDGET_H, "", 0, 0, 1, 1);
    }
    int iRow = 3;
    if (e->uiHostFiles & TW_HOST_WINDOWS)
        twInterf_AddButton(FIELD2, ROW(iRow++), WIDGET_W, WIDGET_H, Str(STR_PUBLISH_WIN), 0, 0, 0, 1);
    if (e->uiHostFiles & TW_HOST_MAC)
        twInterf_AddButton(FIELD2, ROW(iRow), WIDGET_W, WIDGET_H, Str(STR_PUBLISH_MAC), 0, 0, 0, 1);
}

static void PageView(void)
{
    TwEngine* e = pEngine;
    TwCamera* c = pCam;
    twInterf_AddPage(Str(STR_PAGE_VIEW));
    AddTabs(STR_PAGE_VIEW);
    static const int aiRows1[] = {1, 2, 3, 4, 6, 7, 8, 9, 10}, aiIds1[] = {164, 134, 126, 135, 120, 121, 122, 123, 140};
    static const int aiRows2[] = {1, 2, 3, 4, 5, 7, 8, 9, 10}, aiIds2[] = {129, 130, 131, 137, 132, 124, 125, 148, 128};
    Labels(LABEL1, aiRows1, aiIds1, 9);
    Labels(LABEL2, aiRows2, aiIds2, 9);
    Option(FIELD1, 1, &e->iRenderModeWanted, e->iNumRenderModes, e->apszRenderModes, nullptr);
    Option(FIELD1, 2, &e->iBackgroundWanted, TW_NUM_BACKGROUNDS, e->apszBackgrounds, nullptr);
    Option(FIELD1, 3, &e->iStereoMode, e->iNumStereoModes, e->apszStereoModes, nullptr);
    Float(FIELD1, 4, &e->fLightLevelWanted, 0.2f, 0.8f, 0.005f, &e->fScale100, nullptr, nullptr, 0);
    Float(FIELD1, 6, &c->fFov, 10, 120, 1, &e->fScale1, nullptr, nullptr, 0);
    Float(FIELD1, 7, &c->fSpeed, 1, 100, 0.1f, &e->fScale10, nullptr, nullptr, 0);
    Float(FIELD1, 8, &c->fMouseSpeed, 0.05f, 0.25f, 0.005f, &e->fScale200, nullptr, nullptr, 0);
    Option(FIELD1, 9, &c->bInvertMouse, 2, e->apszLookMode, nullptr);
    Option(FIELD1, 10, &e->iUnitsWanted, 2, s_ui.apszUnits, nullptr);
    Int(FIELD2, 1, &e->iSunAltitudeWanted, 10, 80, &e->iSunAltitudeState);
    Int(FIELD2, 2, &e->iSunAzimuthWanted, 1, 360, &e->iSunAzimuthState);
    Float(FIELD2, 3, &e->fSunShadowWanted, -1, 1, 0.005f, &e->fScale100, &e->iShadowState, nullptr, 1);
    Option(FIELD2, 4, &e->iSceneOptionWanted, 2, s_ui.apszScene, &e->iShadowState);
    Option(FIELD2, 5, &e->bSoftShadows, 2, e->apszNoYes, &e->iShadowState);
    Float(FIELD2, 7, &c->fStandHeight, 0.6f, 2, 0.005f, &e->fUnitScale, nullptr, e->szUnitSuffix, 0);
    Float(FIELD2, 8, &e->fCollisionSize, 0.15f, 0.4f, 0.005f, &e->fUnitScale, nullptr, e->szUnitSuffix, 0);
    Option(FIELD2, 9, &e->bDrawFlare, 2, e->apszNoYes, nullptr);
    Option(FIELD2, 10, &e->bShowHints, 2, e->apszNoYes, nullptr);
    // the picture's choices, kept in a file of their own
    StaticAt(LABEL1, 5, STR_SMOOTH_EDGES);
    Option(FIELD1, 5, &e->bSmoothEdges, 2, s_ui.apszOffOn, nullptr);
    StaticAt(LABEL2, 6, STR_SCREENSHOTS);
    Option(FIELD2, 6, &e->iShotFormat, 2, s_ui.apszShotFormats, nullptr);
}

// The sun from a date, a time and a place, with the model's north
static void PageSun(void)
{
    TwEngine* e = pEngine;
    TwSunPlace* p = &e->sunPlace;
    twInterf_AddPage(Str(STR_PAGE_SUN));
    AddTabs(STR_PAGE_SUN);
    for (int i = 0; i < 6; i++)
        StaticAt(LABEL1, i + 1, STR_SUN_FOLLOW + i);
    for (int i = 0; i < 4; i++)
        StaticAt(LABEL2, i + 1, STR_SUN_LATITUDE + i);
    Option(FIELD1, 1, &p->bFollow, 2, e->apszNoYes, nullptr);
    Int(FIELD1, 2, &p->iYear, 1900, 2100, nullptr);
    Int(FIELD1, 3, &p->iMonth, 1, 12, nullptr);
    Int(FIELD1, 4, &p->iDay, 1, 31, nullptr);
    Int(FIELD1, 5, &p->iHour, 0, 23, nullptr);
    Int(FIELD1, 6, &p->iMinute, 0, 59, nullptr);
    Float(FIELD2, 1, &p->fLatitude, -90, 90, 0.05f, &e->fScaleDegrees, nullptr, nullptr, 0);
    Float(FIELD2, 2, &p->fLongitude, -180, 180, 0.05f, &e->fScaleDegrees, nullptr, nullptr, 0);
    Float(FIELD2, 3, &p->fUtcOffset, -12, 14, 0.25f, &e->fScaleDegrees, nullptr, nullptr, 0);
    Float(FIELD2, 4, &p->fNorth, 0, 360, 1, &e->fScale1, nullptr, nullptr, 0);
    twInterf_AddContainer(FIELD1, ROW(8), WIDE_W, WIDGET_H, e->szSunPlaceStatus);
}

static void PageLight(void)
{
    TwEngine* e = pEngine;
    TwWorld* w = pWorld;
    twInterf_AddPage(Str(STR_PAGE_LIGHT));
    AddTabs(STR_PAGE_LIGHT);
    if (!s_ui.bHasLight) {
        twInterf_AddContainer(LABEL1, ROW(1), 694, WIDGET_H,
                              Str(e->bStandAlone && e->bLightLoaded ? STR_LIGHT_CARRIED : STR_LIGHT_NOT_OFFERED));
        return;
    }
    static const int aiRows1[] = {1, 2, 4, 5, 6, 8}, aiIds1[] = {200, 201, 221, 222, 202, 203};
    static const int aiRows2[] = {1, 2, 4, 5, 6}, aiIds2[] = {208, 209, 210, 211, 212};
    Labels(LABEL1, aiRows1, aiIds1, 6);
    twInterf_AddContainer(FIELD1, ROW(1), WIDGET_W, WIDGET_H, w->szLightVram);
    twInterf_AddContainer(FIELD1, ROW(2), WIDGET_W, WIDGET_H, w->szLightRam);
    Float(FIELD1, 4, &w->fLightRangeInit, 1, 8, 0.05f, &e->fScale1000, &e->bLightLoaded, nullptr, 0);
    Option(FIELD1, 5, &w->iLightQuality, 3, s_ui.apszQuality, &e->bLightLoaded);
    Option(FIELD1, 6, &w->bSampleHi, 2, e->apszNoYes, nullptr);
    twInterf_AddContainer(FIELD1, ROW(8), WIDE_W, WIDGET_H, w->szLightStatus);
    twInterf_AddButton(LABEL2, ROW(10), WIDGET_W, WIDGET_H, Str(STR_LIGHT_VIEW), 0, 0, 1, 1);
    s_ui.iLightButton = twOgl_HasFbo() && !e->bNoShaders ? STR_LIGHT_START : STR_LIGHT_NO_GPU;
    twInterf_AddButton(FIELD2, ROW(10), WIDGET_W, WIDGET_H, Str(s_ui.iLightButton), 0, 0, 0, 1);
    Labels(LABEL2, aiRows2, aiIds2, 5);
    const char* apstrStatus[5] = {w->szLightPercent, w->szLightTimeLeft, w->szLightSurfaces, w->szLightVerts,
                                  w->szLightSpeed};
    for (int i = 0; i < 5; i++)
        twInterf_AddContainer(FIELD2, ROW(aiRows2[i]), WIDGET_W, WIDGET_H, apstrStatus[i]);
}

static int Is(const char* pstrName, int iId) { return !strcmp(pstrName, Str(iId)); }

// The Layers tab's classes: a row a class, "[x]" where it shows
#define PAGE_CLASSES "LAYERSCLASSES"
#define CLASS_ROWS 8
static struct {
    char aszLabels[CLASS_ROWS][TW_SECTION_ID_SIZE + 8];
    int iFirst;
} s_classes;

static void ClassesTexts(void)
{
    TwSection* s = pSection;
    if (s_classes.iFirst >= s->iNumClasses)
        s_classes.iFirst = 0;
    for (int i = 0; i < CLASS_ROWS; i++) {
        int iClass = s_classes.iFirst + i;
        char* pstrLabel = s_classes.aszLabels[i];
        pstrLabel[0] = 0;
        if (iClass < s->iNumClasses)
            snprintf(pstrLabel, sizeof(s_classes.aszLabels[i]), "[%s]  %s",
                     twSection_ClassHidden(s->aszClasses[iClass]) ? "  " : "x", s->aszClasses[iClass]);
        twInterf_SetButtonAt(LABEL1, ROW(1 + i), pstrLabel, iClass >= s->iNumClasses, 0);
    }
}

static void ClassCommand(const char* pstrName)
{
    TwEngine* e = pEngine;
    for (int i = 0; i < CLASS_ROWS; i++)
        if (pstrName[0] && !strcmp(pstrName, s_classes.aszLabels[i])) {
            twSection_ToggleClass(s_classes.iFirst + i);
            e->iSunUpdate = 1; // the shadow is of what shows
            return;
        }
    if (Is(pstrName, STR_STOREYS))
        twInterf_SelectPage(Str(STR_PAGE_LAYERS));
    else if (Is(pstrName, STR_LAYERS_NEXT) && s_classes.iFirst + CLASS_ROWS < pSection->iNumClasses)
        s_classes.iFirst += CLASS_ROWS;
    else if (Is(pstrName, STR_LAYERS_PREV) && s_classes.iFirst >= CLASS_ROWS)
        s_classes.iFirst -= CLASS_ROWS;
}

static void PageLayers(void)
{
    twInterf_AddPage(Str(STR_PAGE_LAYERS));
    AddTabs(STR_PAGE_LAYERS);
    twInterf_AddLayerList(LABEL1, pEngine->iInterfHeight - 172, 696, 146, twLayers_GetPageSize(), twLayers_GetList());
    twInterf_AddButton(LABEL2, ROW(10), WIDGET_W, WIDGET_H, Str(STR_LAYERS_PREV), 0, 0, 0, 1);
    twInterf_AddButton(FIELD2, ROW(10), WIDGET_W, WIDGET_H, Str(STR_LAYERS_NEXT), 0, 0, 0, 1);
    twInterf_AddButton(LABEL1, ROW(10), WIDGET_W, WIDGET_H, Str(STR_CLASSES), 0, 0, 0, 1);
    // the model's element classes, ticked as the storeys are, under the same tab
    twInterf_AddPage(PAGE_CLASSES);
    AddTabs(STR_PAGE_LAYERS);
    for (int i = 0; i < CLASS_ROWS; i++)
        twInterf_AddButton(LABEL1, ROW(1 + i), RECENT_W, WIDGET_H, "", 0, 0, 1, 1);
    twInterf_AddButton(LABEL1, ROW(10), WIDGET_W, WIDGET_H, Str(STR_STOREYS), 0, 0, 0, 1);
    twInterf_AddButton(LABEL2, ROW(10), WIDGET_W, WIDGET_H, Str(STR_LAYERS_PREV), 0, 0, 0, 1);
    twInterf_AddButton(FIELD2, ROW(10), WIDGET_W, WIDGET_H, Str(STR_LAYERS_NEXT), 0, 0, 0, 1);
    // shown instead while a solution is part way: a layer changed now would split it
    twInterf_AddPage(PAGE_LAYERS_LOCKED);
    AddTabs(STR_PAGE_LAYERS);
    StaticAt(LABEL1, 1, STR_LAYERS_LOCKED);
}

static int PageGallery(void)
{
    TwEngine* e = pEngine;
    int H = e->iInterfHeight, bFull = !e->bStandAlone;
    twInterf_AddPage(Str(STR_PAGE_GALLERY));
    AddTabs(STR_PAGE_GALLERY);
    twInterf_AddFakeButton(LABEL1, H - 153, 256, 128, GALLERY_IMAGE);
    e->pGalleryTexture = twInterf_AddTexture(LABEL1, H - 153, 256, 128, 0, "Gallery.tga");
    if (!e->pGalleryTexture) {
        twLogError("InitInterf", "!twInterf_AddTexture\n");
        return 0;
    }
    twInterf_AddTexture2(300, H - 145, 1, &pGallery->pTexture);
    twInterf_AddContainer(187, ROW(9), 257, 15, pGallery->szLabel);
    if (bFull) {
        twInterf_AddButton(714, ROW(1), WIDGET_W, WIDGET_H, Str(STR_GALLERY_DELETE), 0, 0, 0, 1);
        twInterf_AddButton(544, ROW(3), WIDGET_W, WIDGET_H, Str(STR_GALLERY_EARLIER), 0, 0, 0, 1);
        twInterf_AddButton(714, ROW(3), WIDGET_W, WIDGET_H, Str(STR_GALLERY_LATER), 0, 0, 0, 1);
        twInterf_AddPushButton(544, ROW(6), WIDGET_W, WIDGET_H, Str(STR_GALLERY_SUN), &e->bAngleWithSun, 1);
    }
    twInterf_AddPushButton(714, ROW(6), WIDGET_W, WIDGET_H, Str(STR_GALLERY_IDLE), &e->bPlayWhenIdle, 1);
    twInterf_AddButton(544, ROW(7), WIDGET_W, WIDGET_H, Str(STR_GALLERY_STOP), 0, 0, 0, 1);
    twInterf_AddPushButton(714, ROW(7), WIDGET_W, WIDGET_H, Str(STR_GALLERY_ALL), &pGallery->bPlayAll, 1);
    twInterf_AddButton(544, ROW(9), WIDGET_W, WIDGET_H, Str(STR_GALLERY_PREV), 0, 0, 0, 1);
    twInterf_AddButton(714, ROW(9), WIDGET_W, WIDGET_H, Str(STR_GALLERY_NEXT), 0, 0, 0, 1);
    twInterf_AddButton(544, ROW(1), WIDGET_W, WIDGET_H, Str(STR_GALLERY_VIDEO), 0, 0, 0, 1);
    return 1;
}

static void PageKeys(void)
{
    twInterf_AddPage(Str(STR_PAGE_KEYS));
    AddTabs(STR_PAGE_KEYS);
    // left: walking, finding and the section tool; right: the rest. A pair is the action's
    // string and its keys'
    static const int aiLeft[][2] = {{573, 574}, {575, 576}, {585, 586}, {472, 474}, {577, 578}, {498, 499},
                                    {417, 418}, {579, 580}, {581, 582}, {583, 584}, {587, 588}};
    for (int i = 0; i < 11; i++) {
        StaticAt(LABEL1, i + 1, aiLeft[i][0]);
        twInterf_AddStaticText(FIELD1 + WIDGET_W, ROW(i + 1), 0, 2, Str(aiLeft[i][1]));
    }
    // the right column's foot: the measure tool, the element pick and its copy
    for (int i = 0; i < 11; i++) {
        StaticAt(LABEL2, i + 1, 476 + 2 * i);
        twInterf_AddStaticText(FIELD2 + WIDGET_W, ROW(i + 1), 0, 2, Str(477 + 2 * i));
    }
}

static void CloseInterface(void);
static void ShowPage(int iId);

// The Find page: a word typed on it, and the elements that hold it, a page of rows at a time
#define FIND_MAX 200  // elements listed at most; the count says how many hold the word
#define FIND_ROWS 7
#define INSPECT_WHEEL_ROWS 3 // the element panel's rows a notch of the wheel scrolls
static struct {
    char szWord[64];
    char szShown[80];  // the word with its caret
    char szCount[128];
    int aiFound[FIND_MAX];
    int iFound, iListed, iFirst;
    int bDirty;
} s_find;

static void PageFind(void)
{
    twInterf_AddPage(Str(STR_PAGE_FIND));
    AddTabs(STR_PAGE_FIND);
    StaticAt(LABEL1, 1, STR_FIND_WORD);
    twInterf_AddContainer(FIELD1, ROW(1), WIDE_W, WIDGET_H, s_find.szShown);
    twInterf_AddContainer(FIELD1, ROW(2), WIDE_W, WIDGET_H, s_find.szCount);
    for (int i = 0; i < FIND_ROWS; i++)
        twInterf_AddButton(LABEL1, ROW(3 + i), RECENT_W, WIDGET_H, "", 0, 0, 1, 1);
    twInterf_AddButton(LABEL2, ROW(10), WIDGET_W, WIDGET_H, Str(STR_LAYERS_PREV), 0, 0, 0, 1);
    twInterf_AddButton(FIELD2, ROW(10), WIDGET_W, WIDGET_H, Str(STR_LAYERS_NEXT), 0, 0, 0, 1);
    s_find.bDirty = 1;
}

// The keys typed on the Find page: letters, digits, '-', '_', '.', a space, Backspace
static void FindKeys(void)
{
    static const struct {
        int iKey;
        char c, cShifted;
    } s_aKeys[] = {
        {16, 'q', 'Q'}, {17, 'w', 'W'}, {18, 'e', 'E'}, {19, 'r', 'R'}, {20, 't', 'T'}, {21, 'y', 'Y'},
        {22, 'u', 'U'}, {23, 'i', 'I'}, {24, 'o', 'O'}, {25, 'p', 'P'}, {30, 'a', 'A'}, {31, 's', 'S'},
        {32, 'd', 'D'}, {33, 'f', 'F'}, {34, 'g', 'G'}, {35, 'h', 'H'}, {36, 'j', 'J'}, {37, 'k', 'K'},
        {38, 'l', 'L'}, {44, 'z', 'Z'}, {45, 'x', 'X'}, {46, 'c', 'C'}, {47, 'v', 'V'}, {48, 'b', 'B'},
        {49, 'n', 'N'}, {50, 'm', 'M'}, {2, '1', '1'}, {3, '2', '2'}, {4, '3', '3'}, {5, '4', '4'},
        {6, '5', '5'}, {7, '6', '6'}, {8, '7', '7'}, {9, '8', '8'}, {10, '9', '9'}, {11, '0', '0'},
        {12, '-', '_'}, {52, '.', '.'}, {TW_KEY_SPACE, ' ', ' '},
    };
    int bShift = KeyDown(TW_KEY_LSHIFT) || KeyDown(TW_KEY_RSHIFT);
    size_t uiLen = strlen(s_find.szWord);
    for (const auto& k : s_aKeys)
        if (twInput_KeyPressed(k.iKey) && uiLen + 1 < sizeof(s_find.szWord)) {
            s_find.szWord[uiLen++] = bShift ? k.cShifted : k.c;
            s_find.szWord[uiLen] = 0;
            s_find.bDirty = 1;
        }
    if (twInput_KeyPressed(TW_KEY_BACK) && uiLen) {
        s_find.szWord[uiLen - 1] = 0;
        s_find.bDirty = 1;
    }
}

// The page's texts: the word, the count, and a page of rows "n  name  class  GlobalId"
static void FindTexts(void)
{
    snprintf(s_find.szShown, sizeof(s_find.szShown), "%s_", s_find.szWord);
    if (s_find.bDirty) {
        s_find.bDirty = 0;
        s_find.iFirst = 0;
        s_find.iFound = s_find.szWord[0] ? twWorld_FindElements(s_find.szWord, s_find.aiFound, FIND_MAX) : 0;
        s_find.iListed = s_find.iFound < FIND_MAX ? s_find.iFound : FIND_MAX;
        if (!s_find.szWord[0])
            s_find.szCount[0] = 0;
        else if (!s_find.iFound)
            snprintf(s_find.szCount, sizeof(s_find.szCount), "%s", Str(STR_FIND_NONE));
        else
            snprintf(s_find.szCount, sizeof(s_find.szCount), "%d %s %d", s_find.iFound, Str(STR_FIND_COUNT),
                     s_find.iListed);
    }
    for (int i = 0; i < FIND_ROWS; i++) {
        int iRow = s_find.iFirst + i;
        char szLabel[160] = "";
        if (iRow < s_find.iListed) {
            const TwElementInfo* pInfo = twWorld_GetElementInfo(s_find.aiFound[iRow]);
            snprintf(szLabel, sizeof(szLabel), "%d  %.40s  %.30s  %.24s", iRow + 1, pInfo ? pInfo->apstrFields[0] : "",
                     pInfo ? pInfo->apstrFields[1] : "", pInfo ? pInfo->apstrFields[3] : "");
        }
        twInterf_SetButtonAt(LABEL1, ROW(3 + i), szLabel, iRow >= s_find.iListed, 0);
    }
}

// The walker flies to where the element is in sight, a little above and before it, or the top
// view centres it; the pick keeps it
static void GoToElement(int iElement)
{
    TwEngine* e = pEngine;
    if (!pWorld || iElement < 0 || iElement >= pWorld->iNumElements)
        return;
    const TwElement* pElement = &pWorld->pElements[iElement];
    float vCentre[3], fSize = 0;
    for (int i = 0; i < 3; i++) {
        vCentre[i] = (pElement->vMin[i] + pElement->vMax[i]) * 0.5f;
        fSize = fmaxf(fSize, pElement->vMax[i] - pElement->vMin[i]);
    }
    CloseInterface();
    e->bMeasureMode = 0;
    e->bElementPick = 1;
    e->iPickedElement = e->iTrackedElement = iElement;
    // the top view stays, over the element and wide enough to show it with what is around
    if (pCam->bTopView) {
        pCam->vOrthoCentre[0] = vCentre[0];
        pCam->vOrthoCentre[2] = vCentre[2];
        pCam->fOrthoHalfHeight *= fmaxf(4.0f, fSize) / pCam->fOrthoHalfWidth;
        pCam->fOrthoHalfWidth = fmaxf(4.0f, fSize);
        twLog("twViewer", "Found element %d: the top view centres it\n", iElement);
        return;
    }
    float fDistance = fmaxf(2.5f, fSize * 1.2f);
    float vFlat[3] = {pCam->vDir[0], 0, pCam->vDir[2]};
    float fFlat = sqrtf(vFlat[0] * vFlat[0] + vFlat[2] * vFlat[2]);
    if (fFlat < 1e-3f)
        vFlat[0] = 0, vFlat[2] = -1, fFlat = 1;
    twCamera_StartFlying(pCam);
    pCam->bTopView = 0;
    pCam->vPos[0] = vCentre[0] - vFlat[0] / fFlat * fDistance;
    pCam->vPos[1] = vCentre[1] + fDistance * 0.3f;
    pCam->vPos[2] = vCentre[2] - vFlat[2] / fFlat * fDistance;
    twCamera_LookAt(pCam, vCentre);
    twLog("twViewer", "Found element %d: the walker flies to it\n", iElement);
}

static void PageAbout(void)
{
    TwEngine* e = pEngine;
    twInterf_AddPage(Str(STR_PAGE_ABOUT));
    AddTabs(STR_PAGE_ABOUT);
    static const int aiRows[] = {1, 2, 4, 5, 6, 7}, aiIds[] = {340, 341, 349, 342, 343, 344};
    Labels(LABEL1, aiRows, aiIds, 6);
    const char* apstrTexts[6] = {e->szModelInfo,     e->szVersion,       e->szEngineInfo,
                                 s_ui.szTriangles, s_ui.szTextures, s_ui.szMemory};
    for (int i = 0; i < 6; i++)
        twInterf_AddContainer(FIELD1, ROW(aiRows[i]), WIDE_W, WIDGET_H, apstrTexts[i]);
    twInterf_AddPointerText(362, e->iInterfHeight - 188, Str(TW_STR_APP_NAME));
    twInterf_AddPointerText(362, e->iInterfHeight - 200, e->szLegalLine);
}

static void PageDev(void)
{
    twInterf_AddPage(TW_DEV_PAGE);
    AddTabs(0);
    twInterf_AddStaticText(LABEL1, ROW(1), 0, 0, "System");
    Option(FIELD1, 1, &pDev->iSystem, pDev->iNumSystems, pDev->apszSystems, nullptr);
}

void twEngine_ShowLightState(int bShowPage)
{
    if (!s_ui.bHasLight || !pInterf)
        return;
    const char* pstrSaved = twInterf_GetPageName();
    char szSaved[TW_TEXT_SIZE];
    snprintf(szSaved, sizeof(szSaved), "%s", pstrSaved ? pstrSaved : "");
    if (!twInterf_IsPage(Str(STR_PAGE_LIGHT)))
        twInterf_SelectPage(Str(STR_PAGE_LIGHT));
    // a light of the model's own is continued; none yet is started
    int iWanted = pEngine->bLightLoaded ? STR_LIGHT_CONTINUE : STR_LIGHT_START;
    if (s_ui.iLightButton != STR_LIGHT_NO_GPU && s_ui.iLightButton != iWanted &&
        twInterf_ChangeButton(Str(s_ui.iLightButton), Str(iWanted)))
        s_ui.iLightButton = iWanted;
    int bComplete = pEngine->bLightLoaded && twWorld_LightComplete();
    twInterf_ShowButton(Str(STR_LIGHT_VIEW), pEngine->bLightLoaded && !bComplete);
    twInterf_ShowButton(Str(s_ui.iLightButton), !bComplete);
    if (bShowPage)
        return;
    if (!szSaved[0])
        twInterf_SelectPage(nullptr);
    else if (!twInterf_IsPage(szSaved))
        twInterf_SelectPage(szSaved);
}

int twEngine_InitInterf(void)
{
    TwEngine* e = pEngine;
    memset(&s_ui, 0, sizeof(s_ui));
    for (int i = 0; i < 3; i++) {
        snprintf(s_ui.aszQuality[i], TW_TEXT_SIZE, "%s", Str(STR_QUALITY_FIRST + i));
        s_ui.apszQuality[i] = s_ui.aszQuality[i];
    }
    for (int i = 0; i < 2; i++) {
        snprintf(s_ui.aszScene[i], TW_TEXT_SIZE, "%s", Str(STR_SCENE_FIRST + i));
        s_ui.apszScene[i] = s_ui.aszScene[i];
        snprintf(s_ui.aszUnits[i], TW_TEXT_SIZE, "%s", Str(STR_METRES + i));
        s_ui.apszUnits[i] = s_ui.aszUnits[i];
        snprintf(s_ui.aszOffOn[i], TW_TEXT_SIZE, "%s", Str(STR_OFF_ON + i));
        s_ui.apszOffOn[i] = s_ui.aszOffOn[i];
        snprintf(s_ui.aszShotFormats[i], TW_TEXT_SIZE, "%s", Str(STR_SHOT_FORMATS + i));
        s_ui.apszShotFormats[i] = s_ui.aszShotFormats[i];
    }
    s_ui.bHasLight = e->bRadiosity && !e->bStandAlone;
    s_ui.bLiveLink = pLink && pLink->bLive;
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    e->iMouseX = e->iLiveX = iWidth / 2;
    e->iMouseY = e->iLiveY = iHeight / 2;
    if (!twInter_Init(iWidth, iHeight, iWidth - 60, PANEL_H, &e->iMouseX, &e->iMouseY, &e->iLiveX, &e->iLiveY)) {
        twLogError("InitInterf", "!twInterf_Init\n");
        return 0;
    }
    twLog("InitInterf", "Radiosity = %s\n", e->bRadiosity ? "Yes" : "No");
    twLog("InitInterf", "Lauched from exe = %s\n", e->bStandAlone ? "Yes" : "No");
    if (!e->bStandAlone)
        PageFile();
    PageView();
    PageLight();
    PageLayers();
    if (!PageGallery())
        return 0;
    PageKeys();
    PageAbout();
    PageSun();
    PageFind();
    PageDev();
    twEngine_ShowLightState(0);
    twInterf_SelectPage(nullptr);
    twInterf_SelectPage(Str(e->bStandAlone ? STR_PAGE_VIEW : STR_PAGE_FILE));
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Keys and commands
// ---------------------------------------------------------------------------------------------

// Walking and flying: held keys set this frame's motion, presses switch modes
static void MovementKeys(void)
{
    TwCamera* c = pCam;
    // Z is the developer's shift: it takes the movement keys unless developer mode is on
    if (!KeyDown(TW_KEY_Z) || pEngine->bDevMode) {
        if (KeyDown(TW_KEY_W) || KeyDown(TW_KEY_UP))
            twCamera_SetForward(c, 1);
        if (KeyDown(TW_KEY_S) || KeyDown(TW_KEY_DOWN))
            twCamera_SetForward(c, -1);
        if (KeyDown(TW_KEY_A) || KeyDown(TW_KEY_LEFT))
            twCamera_SetStrafe(c, -1);
        if (KeyDown(TW_KEY_D) || KeyDown(TW_KEY_RIGHT))
            twCamera_SetStrafe(c, 1);
        if (KeyDown(TW_KEY_PGUP) || KeyDown(TW_KEY_Y))
            twCamera_Vertical(c, 1);
        if (KeyDown(TW_KEY_PGDN) || KeyDown(TW_KEY_H))
            twCamera_Vertical(c, 0);
    }
    int bShift = KeyDown(TW_KEY_LSHIFT) || KeyDown(TW_KEY_RSHIFT);
    int bCtrl = KeyDown(TW_KEY_LCONTROL) || KeyDown(TW_KEY_RCONTROL);
    if (bShift && bCtrl)
        c->fSpeedMul = c->fFastMul;
    else if (bShift)
        c->fSpeedMul = c->fRunMul;
    else if (bCtrl)
        c->fSpeedMul = c->fSlowMul;
    if (KeyDown(TW_KEY_LALT) || KeyDown(TW_KEY_RALT))
        c->bCrouchKey = 1;
    if (twInput_KeyPressed(TW_KEY_F) && !KeyDown(TW_KEY_Z) && !c->bTopView) {
        if (c->bWalk)
            twCamera_StartFlying(c);
        else
            twCamera_StartWalking(c);
    }
    if (twInput_KeyPressed(TW_KEY_SPACE))
        twCamera_Jump(c);
    if (twInput_ButtonDown(TW_MOUSE_LOOK_BUTTON)) {
        if (c->bWalk)
            c->bResetPitch = 1;
        else
            c->bLevelFlight = 1;
    }
    if (c->bTopView && pEngine->iMouseDz)
        twCamera_TopZoom(c, pEngine->iMouseDz);
}

static void CloseInterface(void)
{
    TwEngine* e = pEngine;
    if (e->bInterface && e->fInterfSlideDir >= 0) {
        // the panel stays until it has slid out
        e->fInterfSlideDir = -1;
        e->fProgressFade = 0;
    }
}

static void ToggleInterface(void)
{
    TwEngine* e = pEngine;
    if (!e->bInterface) {
        e->bInterface = 1;
        e->fInterfSlideDir = 1;
        if (twGallery_IsRecording())
            twGallery_StopRecording();
        e->bMeasureMode = 0;
        e->bElementPick = 0;
        if (!twInterf_GetPageName())
            twInterf_SelectPage(Str(e->bStandAlone ? STR_PAGE_VIEW : STR_PAGE_FILE));
    } else {
        CloseInterface();
    }
}

// A clip starts from a standing camera: a walker's coasting would count as a wake-up
static int PlayFromTop(void)
{
    pCam->fForward = pCam->fStrafe = 0;
    return twGallery_PlayFromTop();
}

// What the user changed in the gallery is kept at once, and its preview renewed
static void GalleryChanged(void)
{
    pEngine->bUpdateGalleryImage = 1;
    twEngine_SaveGallery();
}

// F4 keeps the view, Shift+R records, P plays, and a click while recording pauses and
// closes a clip
static void GalleryKeys(int bShift)
{
    TwEngine* e = pEngine;
    int bFull = !e->bStandAlone;
    if (twInput_KeyPressed(TW_KEY_F4) && bFull) {
        TwNavpoint nav;
        twGallery_NavpointFromCamera(pCam, e->iSunAzimuth, e->iSunAltitude, &nav);
        if (twGallery_AddAngle(nullptr, &nav)) {
            // with the cut it shows, by names that outlive a re-export
            if (twSection_Active()) {
                static char s_szCut[TW_SECTION_STATE_SIZE];
                int iLength = twSection_WriteState(s_szCut, sizeof(s_szCut));
                if (iLength > 0)
                    twGallery_SetSelectedCut(s_szCut, iLength);
            }
            GalleryChanged();
            twEngine_FlashNote(0, 1, 0);
        }
    }
    if (twInput_KeyPressed(TW_KEY_R) && bShift && bFull) {
        if (!twGallery_IsRecording()) {
            if (twGallery_StartRecording() && e->bInterface)
                CloseInterface();
        } else {
            twGallery_StopRecording();
        }
    }
    if (twInput_KeyPressed(TW_KEY_P)) {
        if (twGallery_IsPlaying())
            twGallery_StopPlaying();
        else if (bShift || !twGallery_Resume())
            PlayFromTop();
    }
    if (twGallery_IsRecording() && !e->bInterface && twInput_ButtonPressed(TW_MOUSE_LEFT) &&
        twGallery_RecTogglePause())
        GalleryChanged();
}

// Any real motion of the mouse or the camera wakes the viewer and stops a clip; a viewer
// left alone long enough plays its gallery, once
static void Idle(void)
{
    TwEngine* e = pEngine;
    int iDx = e->iMouseDx, iDy = e->iMouseDy;
    int bMouse = e->fTimeInLevel > 0.2f && (iDx * iDx >= 3 || iDy * iDy >= 3) &&
                 (!e->bInterface || !twGallery_IsPlaying());
    float fDelta = twTimer_GetDelta();
    if (bMouse || (fDelta > 0 && pCam->fMoved / fDelta > 1e-5f)) {
        e->fIdleTime = 0;
        e->bIdle = 0;
        twGallery_StopPlaying();
        return;
    }
    if (!e->bPlayWhenIdle)
        return;
    e->fIdleTime += fDelta;
    if (e->fIdleTime > e->fIdleLimit && !e->bIdle) {
        e->bIdle = 1;
        if (!twGallery_IsRecording() && !twGallery_IsPlaying() && !pGallery->bContinue)
            PlayFromTop();
    }
}

// M measures and I picks elements, one tool at a time and never with the panel up; a
// click measures, or keeps the element under the cross (nothing there lets the pick go)
static void ToolKeys(int bZ)
{
    TwEngine* e = pEngine;
    int bMeasure = twInput_KeyPressed(TW_KEY_M), bPick = twInput_KeyPressed(TW_KEY_I);
    if ((bMeasure || bPick) && !bZ && !pCam->bTopView) {
        if (bMeasure) {
            e->bMeasureMode = !e->bMeasureMode;
            e->bElementPick = 0;
        } else {
            e->bElementPick = !e->bElementPick;
            e->bMeasureMode = 0;
            e->iPickedElement = e->iTrackedElement = -1;
        }
        if (e->bMeasureMode || e->bElementPick) {
            CloseInterface();
            if (twGallery_IsRecording())
                twGallery_StopRecording();
        }
        if (e->bMeasureMode)
            twMeasure_Reset();
    }
    // Tab while measuring: distance, angle, area, between faces; while picking it folds the
    // panel's first set, with Shift all of them, and the wheel scrolls them
    if (!bZ && !e->bInterface && !pCam->bTopView) {
        if (e->bMeasureMode && twInput_KeyPressed(TW_KEY_TAB))
            twMeasure_NextKind();
        if (e->bElementPick && twInput_KeyPressed(TW_KEY_TAB))
            twWorld_FoldInspector(KeyDown(TW_KEY_LSHIFT) || KeyDown(TW_KEY_RSHIFT));
        if (e->bElementPick && e->iMouseDz)
            twWorld_ScrollInspector(-e->iMouseDz * INSPECT_WHEEL_ROWS / TW_WHEEL_NOTCH);
    }
    if (!e->bInterface && twInput_ButtonPressed(TW_MOUSE_LEFT)) {
        if (e->bElementPick)
            e->iPickedElement = e->iTrackedElement;
        else if (e->bMeasureMode)
            twMeasure_Click();
    }
    // Ctrl+C: the kept element's data as text, for a mail or a sheet
    if (e->bElementPick && e->iPickedElement >= 0 && twInput_KeyPressed(TW_KEY_C) &&
        (KeyDown(TW_KEY_LCONTROL) || KeyDown(TW_KEY_RCONTROL))) {
        char* pstrText = twWorld_ElementCopyText(e->iPickedElement, e->iUnits);
        if (pstrText && twWindow_SetClipboardText(pstrText)) {
            twLog("twViewer", "Copied the data of element %d\n", e->iPickedElement);
            twEngine_ShowMessage(TW_MESSAGE_TEXT, TW_MESSAGE_SECONDS, Str(STR_DATA_COPIED));
        }
        twMem_Free(pstrText);
    }
}

// The section tool: X the storey cut (Shift, Ctrl: a storey up, down), K a plane on the face
// under the cross (Shift flips it, Ctrl removes it), B a box around the kept element or the
// walker's storey (Shift: the model), the wheel moves what was placed last, a drag moves the
// box's face under the cross; V X-rays the kept element (Shift isolates it, Ctrl takes its
// class). In the top view the keys work and the wheel zooms.
static void SectionKeys(int bShift, int bCtrl)
{
    TwEngine* e = pEngine;
    if (twInput_KeyPressed(TW_KEY_X)) {
        if (bShift || bCtrl)
            twSection_StepStorey(pCam, bShift ? 1 : -1);
        else
            twSection_ToggleStoreyCut(pCam);
    }
    if (twInput_KeyPressed(TW_KEY_K)) {
        if (bCtrl)
            twSection_Remove();
        else if (bShift)
            twSection_Flip();
        else if (!twSection_AddPlane(pCam, twWindow_GetWidth() / 2, twWindow_GetHeight() / 2))
            twEngine_ShowMessage(TW_MESSAGE_TEXT, TW_MESSAGE_SECONDS, Str(STR_SECTION_FULL));
    }
    if (twInput_KeyPressed(TW_KEY_B)) {
        if (bShift)
            twSection_ModelBox();
        else
            twSection_ToggleBox(pCam, e->bElementPick ? e->iPickedElement : -1);
    }
    if (twInput_KeyPressed(TW_KEY_V)) {
        int iFocus = bShift ? TW_FOCUS_ISOLATE : TW_FOCUS_XRAY;
        if (pSection->iFocus == iFocus || e->iPickedElement < 0)
            twSection_SetFocus(TW_FOCUS_NONE, -1, 0);
        else
            twSection_SetFocus(iFocus, e->iPickedElement, bCtrl);
    }
    if (e->iMouseDz && !pCam->bTopView && !e->bElementPick)
        twSection_Wheel(pCam, e->iMouseDz / TW_WHEEL_NOTCH, bShift);
    // a box's face is dragged while the button is held, when no other tool takes the click
    int bFree = !e->bElementPick && !e->bMeasureMode && !twGallery_IsRecording() && !pCam->bTopView;
    if (bFree && twInput_ButtonPressed(TW_MOUSE_LEFT))
        twSection_StartDrag(pCam);
    if (pSection->iDragFace >= 0 && !twInput_ButtonDown(TW_MOUSE_LEFT))
        twSection_EndDrag();
}

static void Keys(void)
{
    TwEngine* e = pEngine;
    int bZ = KeyDown(TW_KEY_Z);
    int bShift = KeyDown(TW_KEY_LSHIFT) || KeyDown(TW_KEY_RSHIFT);
    if (twInput_KeyPressed(TW_KEY_ESCAPE)) {
        if (bZ)
            e->bQuit = 1;
        else if (twLink_IsExporting())
            twLink_Cancel(); // the bar on screen says Esc cancels it
        else
            ToggleInterface();
    }
    if (bZ) {
        if (twInput_KeyPressed(TW_KEY_F))
            e->bDevSwitchF = !e->bDevSwitchF;
        if (twInput_KeyPressed(TW_KEY_TAB))
            twDev_Toggle();
        // the letter toggles need a developers' build; without one Z silences the letters
        static const int aiDevKeys[] = {TW_KEY_B, TW_KEY_C, TW_KEY_D, TW_KEY_I, TW_KEY_M, TW_KEY_O,
                                        TW_KEY_P, TW_KEY_R, TW_KEY_S, TW_KEY_T, TW_KEY_V, TW_KEY_W};
        for (int iKey : aiDevKeys)
            if (twInput_KeyPressed(iKey))
                twDev_Key(iKey);
        // the selected luxel, by one or with Shift by ten: up and right go up the surface's axes
        static const int aiArrows[4][3] = {{TW_KEY_UP, 0, 1}, {TW_KEY_DOWN, 0, -1}, {TW_KEY_LEFT, -1, 0},
                                           {TW_KEY_RIGHT, 1, 0}};
        for (const int* piArrow : aiArrows)
            if (e->bDevMode && twInput_KeyPressed(piArrow[0]))
                twWorld_MoveSelectedLuxel(piArrow[1] * (bShift ? 10 : 1), piArrow[2] * (bShift ? 10 : 1));
        // a copy opened at once, past the deferred action and its message
        if (twInput_KeyPressed(TW_KEY_F5))
            twEngine_Load(nullptr);
    } else {
        if (twInput_KeyPressed(TW_KEY_U) && !bShift)
            e->bStatistics = !e->bStatistics;
        if (twInput_KeyPressed(TW_KEY_O) && e->iDrawMode != TW_MODE_WHITE)
            e->bDisplaySwitchO = !e->bDisplaySwitchO;
    }
    // a middle click on the top view puts the walker on the floor under the cross; a spot
    // without such a floor flashes red
    if (pCam->bTopView && !e->bInterface && twInput_ButtonPressed(TW_MOUSE_MIDDLE)) {
        if (twWorld_PutOnFloorUnderCross(pCam, e->fCollisionSize))
            twLog("twEngine_HandleInput", "Walker put at %.2f, %.2f, %.2f\n", pCam->vPos[0], pCam->vPos[1],
                  pCam->vPos[2]);
        else
            twEngine_FlashNote(1, 0, 0);
    }
    if (twInput_KeyPressed(TW_KEY_F8)) {
        pCam->bTopView = !pCam->bTopView;
        if (pCam->bTopView)
            e->bElementPick = 0;
        e->bMeasureMode = 0;
    }
    ToolKeys(bZ);
    if (!bZ && pWorld && pWorld->bLoaded && pSection)
        SectionKeys(bShift, KeyDown(TW_KEY_LCONTROL) || KeyDown(TW_KEY_RCONTROL));
    if (!bZ)
        GalleryKeys(bShift);
    if (twInput_KeyPressed(TW_KEY_F3))
        twEngine_ToggleSunShadows();
    // F6: the Find page, with the word typed last
    if (twInput_KeyPressed(TW_KEY_F6) && !bZ) {
        if (!e->bInterface)
            ToggleInterface();
        ShowPage(STR_PAGE_FIND);
        s_find.bDirty = 1;
    }
    // after the draw: the back buffer holds the finished frame, panel and all
    if (twInput_KeyPressed(TW_KEY_F5) && !bZ) {
        int bCtrl = KeyDown(TW_KEY_LCONTROL) || KeyDown(TW_KEY_RCONTROL);
        // with Shift the view alone, twice the window's size, or with Ctrl four times
        if (bShift ? twEngine_LargeScreenshot(bCtrl ? 4 : 2) : twEngine_Screenshot()) {
            twEngine_FlashNote(0, 0, 1);
        } else {
            twEngine_ShowMessage(TW_MESSAGE_FAILED, SCREENSHOT_FAILED_SECONDS, nullptr);
        }
    }
    if (twInput_KeyPressed(TW_KEY_BACK) && !e->bWheelLock)
        e->bWheelFast = !e->bWheelFast;
    Idle();
}


static void ShowPage(int iId)
{
    if (!twInterf_IsPage(Str(iId)))
        twInterf_SelectPage(Str(iId));
}

static void GalleryCommand(const char* pstrName)
{
    if (!strcmp(pstrName, GALLERY_IMAGE)) {
        twEngine_WarpToSelected();
    } else if (Is(pstrName, STR_GALLERY_PREV) || Is(pstrName, STR_GALLERY_NEXT)) {
        if (Is(pstrName, STR_GALLERY_PREV) ? twGallery_SelectPrevious() : twGallery_SelectNext())
            pEngine->bUpdateGalleryImage = 1;
    } else if (Is(pstrName, STR_GALLERY_STOP)) {
        twGallery_StopPlaying();
    } else if (Is(pstrName, STR_GALLERY_VIDEO)) {
        if (twEngine_StartVideo())
            CloseInterface();
        else
            twEngine_FlashNote(1, 0, 0); // no clip selected
    } else if (pEngine->bStandAlone) {
        return; // a copy's gallery is the one it was given
    } else if (Is(pstrName, STR_GALLERY_DELETE)) {
        twGallery_Delete();
        GalleryChanged();
    } else if (Is(pstrName, STR_GALLERY_EARLIER) || Is(pstrName, STR_GALLERY_LATER)) {
        if (Is(pstrName, STR_GALLERY_EARLIER) ? twGallery_MoveEarlier() : twGallery_MoveLater())
            GalleryChanged();
    }
}

static void Commands(void)
{
    TwEngine* e = pEngine;
    const char* pstrName = twInterf_GetButtonHit();
    int bPressed = twInput_ButtonPressed(TW_MOUSE_LEFT);
    if (!pstrName) {
        if (twInterf_IsPage(Str(STR_PAGE_VIEW)) && twInput_ButtonDown(TW_MOUSE_LEFT))
            twEngine_ApplySettings();
        else if (twInterf_IsPage(Str(STR_PAGE_LAYERS)) && bPressed)
            e->iSunUpdate = e->iLayerUpdate = 1; // a press in the list may have changed a layer
        return;
    }
    if (!bPressed)
        return;
    static const int aiTabs[] = {STR_PAGE_FILE,    STR_PAGE_VIEW, STR_PAGE_LAYERS, STR_PAGE_LIGHT, STR_PAGE_GALLERY,
                                 STR_PAGE_KEYS, STR_PAGE_ABOUT, STR_PAGE_SUN, STR_PAGE_FIND};
    for (int iId : aiTabs) {
        if (Is(pstrName, iId)) {
            // the layers while a solution is part way: the page that says why they can't change
            if (iId == STR_PAGE_LAYERS && pWorld->bLightInitialised && e->bLightLoaded && !twWorld_LightComplete() &&
                pWorld->bLightNewInit) {
                if (!twInterf_IsPage(PAGE_LAYERS_LOCKED))
                    twInterf_SelectPage(PAGE_LAYERS_LOCKED);
            } else {
                ShowPage(iId);
            }
            if (iId == STR_PAGE_GALLERY)
                e->bUpdateGalleryImage = 1;
            return;
        }
    }
    if (Is(pstrName, STR_QUIT)) {
        e->bQuit = 1;
    } else if (twInterf_IsPage(Str(STR_PAGE_FILE))) {
        const char* pstrRecent = twLink_RecentPath(pstrName);
        if (pstrRecent) {
            char szPath[TW_SET_SIZE];
            snprintf(szPath, sizeof(szPath), "%s", pstrRecent); // the list changes as it opens
            twLink_Open(szPath, 0);
            return;
        }
        int iKind = Is(pstrName, STR_OPEN)          ? TW_PENDING_OPEN
                    : Is(pstrName, STR_OPEN_MODEL)  ? TW_PENDING_OPEN_MODEL
                    : Is(pstrName, STR_ADD_MODEL)   ? TW_PENDING_ADD_MODEL
                    : Is(pstrName, STR_REMOVE_MODEL) ? TW_PENDING_REMOVE_MODEL
                    : Is(pstrName, STR_PUBLISH_WIN) ? TW_PENDING_PUBLISH_WIN
                    : Is(pstrName, STR_PUBLISH_MAC) ? TW_PENDING_PUBLISH_MAC
                                                    : TW_PENDING_NONE;
        if (iKind != TW_PENDING_NONE) {
            e->iPendingStep = 1;
            e->iPendingKind = iKind;
            if (iKind == TW_PENDING_OPEN)
                e->fProgressFade = 0;
        }
    } else if (twInterf_IsPage(Str(STR_PAGE_LIGHT)) && s_ui.bHasLight) {
        if (Is(pstrName, STR_LIGHT_START))
            twEngine_PrepareLight();
        else if (Is(pstrName, STR_LIGHT_CONTINUE))
            twEngine_RunLight(0);
        else if (Is(pstrName, STR_LIGHT_VIEW))
            twEngine_RunLight(1);
    } else if (twInterf_IsPage(Str(STR_PAGE_FIND))) {
        int iRow = atoi(pstrName);
        if (iRow >= 1 && iRow <= s_find.iListed)
            GoToElement(s_find.aiFound[iRow - 1]);
        else if (Is(pstrName, STR_LAYERS_NEXT) && s_find.iFirst + FIND_ROWS < s_find.iListed)
            s_find.iFirst += FIND_ROWS;
        else if (Is(pstrName, STR_LAYERS_PREV) && s_find.iFirst >= FIND_ROWS)
            s_find.iFirst -= FIND_ROWS;
    } else if (twInterf_IsPage(PAGE_CLASSES) && pSection) {
        ClassCommand(pstrName);
    } else if (twInterf_IsPage(Str(STR_PAGE_LAYERS))) {
        if (Is(pstrName, STR_LAYERS_NEXT))
            twLayers_NextPage();
        else if (Is(pstrName, STR_LAYERS_PREV))
            twLayers_PrevPage();
        else if (Is(pstrName, STR_CLASSES))
            twInterf_SelectPage(PAGE_CLASSES);
    } else if (twInterf_IsPage(Str(STR_PAGE_GALLERY))) {
        GalleryCommand(pstrName);
    }
}

// The pointer of the panel: the frozen one holds still through a drag, and the live one
// comes back to it, unless a drop-down is open and the live one picks from it
static void MovePointer(int bListOpen)
{
    TwEngine* e = pEngine;
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    if (!bListOpen) {
        e->iLiveX = e->iMouseX;
        e->iLiveY = e->iMouseY;
    }
    e->iLiveX += e->iMouseDx;
    e->iLiveY -= e->iMouseDy;
    e->iLiveX = e->iLiveX < POINTER_MARGIN ? POINTER_MARGIN : e->iLiveX > iWidth - POINTER_MARGIN ? iWidth - POINTER_MARGIN : e->iLiveX;
    e->iLiveY = e->iLiveY < POINTER_MARGIN ? POINTER_MARGIN : e->iLiveY > iHeight - POINTER_MARGIN ? iHeight - POINTER_MARGIN : e->iLiveY;
    if (!twInput_ButtonDown(TW_MOUSE_LEFT)) {
        e->iMouseX = e->iLiveX;
        e->iMouseY = e->iLiveY;
    }
}

// The Model page as the link stands: its switch, and the recent models, greyed where they
// can't be opened
static void FileTexts(void)
{
    if (!pLink)
        return;
    if (s_ui.bLiveLink != pLink->bLive)
        twLink_SetLive(s_ui.bLiveLink);
    twLink_UpdateRecentStates();
    for (int i = 0; i < TW_RECENT_MAX; i++) {
        const TwRecentModel* pModel = i < pLink->iNumRecent ? &pLink->aRecent[i] : nullptr;
        twInterf_SetButtonAt(LABEL1, ROW(RECENT_ROW + i), pModel ? pModel->szLabel : "", !pModel,
                             pModel && pModel->bMissing);
    }
}

// The figures of the information page
static void AboutTexts(void)
{
    char szCount[16];
    twCore_FormatThousands(pWorld && pWorld->bLoaded ? (uint32_t)pWorld->iNumTris : 0, szCount);
    snprintf(s_ui.szTriangles, sizeof(s_ui.szTriangles), "%s", szCount);
    snprintf(s_ui.szTextures, sizeof(s_ui.szTextures), "%s", twOgl_GetTextureMemoryText());
    snprintf(s_ui.szMemory, sizeof(s_ui.szMemory), "%s", twMem_GetUsageString());
}

void twEngine_HandleInput(void)
{
    TwEngine* e = pEngine;
    twInput_Update();
    e->iMouseDx = twInput_GetMouseDx();
    e->iMouseDy = twInput_GetMouseDy();
    e->iMouseDz = twInput_GetMouseDz();
    if (twEngine_IsVideoRunning()) {
        // a video being saved takes the keys: Esc stops it, and with Z quits too
        if (twInput_KeyPressed(TW_KEY_ESCAPE)) {
            e->bQuit = KeyDown(TW_KEY_Z);
            twEngine_StopVideo();
        }
        return;
    }
    // the Find page takes the typed keys: Esc closes the panel, and with Z held quits
    if (e->bInterface && twInterf_IsPage(Str(STR_PAGE_FIND))) {
        FindKeys();
        if (twInput_KeyPressed(TW_KEY_ESCAPE)) {
            if (KeyDown(TW_KEY_Z))
                e->bQuit = 1;
            else
                ToggleInterface();
        }
    } else {
        Keys();
        MovementKeys();
    }
    // the sun moves as the date, the time or the place is dragged or picked; moved on
    // another page it leaves the date
    if (e->bInterface && twInterf_IsPage(Str(STR_PAGE_SUN)) && twEngine_ApplySunPlace())
        twEngine_ApplySettings();
    twEngine_CheckSunFollow();
    if (e->bInterface) {
        Commands();
        if (twInterf_IsPage(Str(STR_PAGE_ABOUT)))
            AboutTexts();
        else if (twInterf_IsPage(Str(STR_PAGE_FILE)))
            FileTexts();
        else if (twInterf_IsPage(Str(STR_PAGE_FIND)))
            FindTexts();
        else if (twInterf_IsPage(PAGE_CLASSES) && pSection)
            ClassesTexts();
    } else {
        // the look, while the panel is closed
        if (pCam->bTopView && twInput_ButtonDown(TW_MOUSE_LOOK_BUTTON))
            twCamera_TopPan(pCam, e->iMouseDx, e->iMouseDy);
        else if (pSection && pSection->iDragFace >= 0)
            twSection_Drag(pCam, e->iMouseDy); // the view holds while a face is dragged
        else
            twCamera_MouseLook(pCam, e->iMouseDx, e->iMouseDy);
    }
    MovePointer(twInterf_TakeValueListOpen());
}
