#include "interface/dev.h"

#include <GL/glew.h>
#include <stdio.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/interf.h"
#include "navigation/camera.h"
#include "platform/input.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "world/world.h"

#define ROW_STEP 14
#define LABEL_X 10
#define VALUE_X 160
#define STATS_WIDTH 340
#define PANEL_W 490
#define OCCLUDER_VIEW 320 // pixels a side of the ID picture's view
#define STR_STATS_FIRST 345 // frames per second, triangles drawn, draw calls, groups drawn

TwDev* pDev = nullptr;

static const char* s_apstrSystems[TW_DEV_NUM_SYSTEMS] = {"Renderer", "Visibility", "Physics", "Global illumination"};

// The switches of the panel, in its order, with their keys
struct DevSwitch {
    const char* pstrLabel;
    int iKey;
    char cKey;
};
static const DevSwitch s_aSwitches[] = {
    {"Draw volumes", TW_KEY_B, 'B'},  {"Draw flare", TW_KEY_C, 'C'},        {"Draw sun", TW_KEY_D, 'D'},
    {"Instances", TW_KEY_I, 'I'},     {"Draw surfaces", TW_KEY_M, 'M'},     {"Occlusion culling", TW_KEY_O, 'O'},
    {"Draw occluders", TW_KEY_P, 'P'}, {"Select mode", TW_KEY_R, 'R'},      {"Draw smooth", TW_KEY_S, 'S'},
    {"Transparency", TW_KEY_T, 'T'},  {"View from sun", TW_KEY_V, 'V'},     {"Use vbo", TW_KEY_W, 'W'},
};
#define NUM_SWITCHES ((int)(sizeof(s_aSwitches) / sizeof(s_aSwitches[0])))

static int32_t* SwitchField(int i)
{
    TwEngine* e = pEngine;
    int32_t* apFields[NUM_SWITCHES] = {&e->iDrawVolumes,  &e->bDrawFlare,     &e->bDrawSun,      &e->bInstances,
                                       &e->bDrawSurfaces, &e->bOcclusionCulling, &e->bDrawOccluders, &e->bSelectMode,
                                       &e->bDrawSmooth,   &e->bTransparency,  &e->bViewFromSun,  &e->bUseVbo};
    return apFields[i];
}

int twEngine_InitDevMode(void)
{
    pDev = (TwDev*)twMem_Malloc(sizeof(TwDev), "pDev");
    if (!pDev) {
        twLogError("twEngine_InitDevMode", "!malloc : pDev\n");
        return 0;
    }
    pDev->iNumSystems = TW_DEV_NUM_SYSTEMS;
    for (int i = 0; i < TW_DEV_NUM_SYSTEMS; i++) {
        snprintf(pDev->aszSystems[i], sizeof(pDev->aszSystems[i]), "%s", s_apstrSystems[i]);
        pDev->apszSystems[i] = pDev->aszSystems[i];
    }
#ifdef AMB_DEV_MODE
    // only a developers' build: no key, setting or file turns it on
    if (pEngine)
        pEngine->bDevMode = 1;
#endif
    return 1;
}

void twDev_Free(void)
{
    if (pDev)
        twMem_Free(pDev);
    pDev = nullptr;
}

int twDev_Toggle(void)
{
    if (!pDev)
        return 0;
    pDev->bActive = !pDev->bActive;
    if (pDev->bActive) {
        const char* pstrPage = twInterf_GetPageName();
        snprintf(pDev->szSavedPage, sizeof(pDev->szSavedPage), "%s", pstrPage ? pstrPage : "");
        if (!twInterf_IsPage(TW_DEV_PAGE))
            twInterf_SelectPage(TW_DEV_PAGE);
    } else if (pDev->szSavedPage[0]) {
        if (!twInterf_IsPage(pDev->szSavedPage))
            twInterf_SelectPage(pDev->szSavedPage);
    } else if (twInterf_IsPage(TW_DEV_PAGE)) {
        twInterf_SelectPage(TW_DEV_PAGE); // a second selection closes it
    }
    return 1;
}

int twDev_Key(int iKey)
{
    if (!pEngine || !pEngine->bDevMode)
        return 0;
    for (int i = 0; i < NUM_SWITCHES; i++) {
        if (s_aSwitches[i].iKey != iKey)
            continue;
        int32_t* pField = SwitchField(i);
        if (pField == &pEngine->iDrawVolumes)
            *pField = (*pField + 1) % 3;
        else if (pField == &pEngine->bUseVbo)
            *pField = !*pField && twOgl_HasVbo(); // no buffers: it stays off
        else
            *pField = !*pField;
        return 1;
    }
    return 0;
}

int twDev_HidesWorld(void) { return pDev && pDev->bActive; }

static void Row(int iY, const char* pstrLabel, const char* pstrValue)
{
    twOgl_DrawText(0, LABEL_X, iY, pstrLabel);
    twOgl_DrawText(0, VALUE_X, iY, pstrValue);
}

void twDev_DrawPanel(void)
{
    TwEngine* e = pEngine;
    if (!e || !pCam)
        return;
    int H = twWindow_GetHeight();
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(0, 0, 0, 0.4f);
    twOgl_DrawRect(0, H - 410, PANEL_W, 320, 0);
    glDisable(GL_BLEND);
    glColor4f(1, 1, 1, 1);
    twOgl_DrawText(0, LABEL_X, H - 112, "Dev mode [tab]");
    Row(H - 132, "Info", e->szInfo);
    char sz[TW_PATH_SIZE];
    int y = H - 132 - ROW_STEP;
    snprintf(sz, sizeof(sz), "%.2f, %.2f, %.2f", pCam->vPos[0], pCam->vPos[1], pCam->vPos[2]);
    Row(y, "Pos", sz);
    y -= ROW_STEP;
    snprintf(sz, sizeof(sz), "%.2f, %.2f, %.2f", pCam->fPitch, pCam->fYaw, pCam->fRoll);
    Row(y, "Rot", sz);
    y -= ROW_STEP;
    snprintf(sz, sizeof(sz), "%d", pWorld ? pWorld->iNumDrawCalls : 0);
    Row(y, "Draw calls", sz);
    y -= ROW_STEP;
    snprintf(sz, sizeof(sz), "%f, %f", pCam->fNear, pCam->fFar);
    Row(y, "Camera z range", sz);
    y -= ROW_STEP;
    Row(y, "Engine info", e->szEngineInfo);
    y -= ROW_STEP;
    Row(y, "World info", pWorld ? pWorld->szDrawInfo : "");
    y -= ROW_STEP;
    Row(y, "Sample info", pWorld ? pWorld->szLightStatus : "");
    y -= 2 * ROW_STEP;
    for (int i = 0; i < NUM_SWITCHES; i++, y -= ROW_STEP) {
        snprintf(sz, sizeof(sz), "%d [%c]", *SwitchField(i), s_aSwitches[i].cKey);
        Row(y, s_aSwitches[i].pstrLabel, sz);
    }
    // the sweep's ID picture as it was read back, beside the panel: the groups' numbers
    // are its colours, so near groups show dark red
    if (e->bDrawOccluders && pWorld && pWorld->pOcTex)
        twOgl_DrawImage(PANEL_W + 10, H - 410, OCCLUDER_VIEW, OCCLUDER_VIEW, pWorld->pOcTex, 0);
}

void twDev_DrawStatistics(void)
{
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    int x = (iWidth - STATS_WIDTH) / 2, y = iHeight / 2 + 2 * ROW_STEP;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(0, 0, 0, 0.5f);
    twOgl_DrawRect(x, y - 4 * ROW_STEP - 4, STATS_WIDTH, 4 * ROW_STEP + 20, 0);
    glDisable(GL_BLEND);
    glColor4f(1, 1, 1, 1);
    char aszValues[4][96];
    snprintf(aszValues[0], sizeof(aszValues[0]), "%u", (unsigned)twTimer_GetFps());
    snprintf(aszValues[1], sizeof(aszValues[1]), "%s", pWorld ? pWorld->szDrawInfo : "");
    snprintf(aszValues[2], sizeof(aszValues[2]), "%d", pWorld ? pWorld->iNumDrawCalls : 0);
    int iGroups = 0;
    if (pWorld && pWorld->bLoaded)
        for (int g = 0; g < pWorld->iNumElementGroups; g++)
            iGroups += twWorld_GroupSeen(pWorld->pElementGroups[g].uiVisibleFrame);
    snprintf(aszValues[3], sizeof(aszValues[3]), "%d", iGroups);
    for (int i = 0; i < 4; i++, y -= ROW_STEP + 2) {
        twOgl_DrawText(0, x + 10, y, twStrings_Get(STR_STATS_FIRST + i));
        twOgl_DrawText(0, x + 180, y, aszValues[i]);
    }
}
