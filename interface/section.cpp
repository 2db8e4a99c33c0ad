#include "interface/section.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/vector.h"
#include "navigation/camera.h"
#include "render/render.h"
#include "world/world.h"

#define TAG "twSection"
#define STOREY_MERGE 1.0f      // levels nearer than this are one storey
#define STOREY_DEFAULT 3.0f    // a storey's height where the model tells none
#define BOX_MARGIN 0.3f        // metres about a kept element's box
#define BOX_SMALLEST 0.05f     // a box's side never shrinks below this
#define PLANE_AHEAD 3.0f       // metres before the eye a plane across the view stands
#define MAX_LEVELS 256
#define STR_TYPE_FIRST 250     // the display name of type t is string 250 + t

TwSection* pSection = nullptr;

int twSection_Init(void)
{
    if (pSection) {
        twLogError(TAG, "Already initialized\n");
        return 0;
    }
    pSection = (TwSection*)twMem_Malloc(sizeof(TwSection), "pSection");
    if (!pSection) {
        twLogError(TAG, "!malloc : pSection\n");
        return 0;
    }
    pSection->iMove = TW_SECTION_MOVE_NONE;
    pSection->bCaps = 1;
    pSection->iDragFace = -1;
    return 1;
}

void twSection_Free(void)
{
    if (pSection)
        twMem_Free(pSection);
    pSection = nullptr;
}

static void ShownChanged(void);

// The planes of the cut as they stand: the box's six, or the storey cut and the planes
static int ComposePlanes(float aafOut[TW_CUT_PLANES][4])
{
    TwSection* s = pSection;
    int n = 0;
    if (s->bBox) {
        for (int f = 0; f < 6; f++) {
            int a = f / 2, bMax = f & 1;
            float* p = aafOut[n++];
            p[0] = p[1] = p[2] = 0;
            p[a] = bMax ? -1.0f : 1.0f;
            p[3] = bMax ? s->vBoxMax[a] : -s->vBoxMin[a];
        }
        return n;
    }
    if (s->bStoreyCut) {
        const float afStorey[4] = {0, -1, 0, s->fStoreyCutY};
        memcpy(aafOut[n++], afStorey, sizeof(afStorey));
    }
    for (int i = 0; i < s->iNumPlanes && n < TW_CUT_PLANES; i++)
        memcpy(aafOut[n++], s->aafPlanes[i], 4 * sizeof(float));
    return n;
}

void twSection_Update(void)
{
    TwSection* s = pSection;
    TwWorld* w = pWorld;
    if (!s || !w)
        return;
    // a model or side file come in since: its classes, and what they hide
    if (w->bLoaded && (s->pClassesOf != w->pElements || s->iClassesCount != w->iNumElements ||
                       s->pClassesInfo != w->pElementInfo)) {
        twSection_FindClasses();
        s->pClassesOf = w->pElements;
        s->iClassesCount = w->iNumElements;
        s->pClassesInfo = w->pElementInfo;
        if (s->szHidden[0] || s->iFocus)
            ShownChanged();
    }
    float aafPlanes[TW_CUT_PLANES][4];
    int n = ComposePlanes(aafPlanes);
    w->bCutCaps = s->bCaps;
    if (n == w->iNumCutPlanes && !memcmp(aafPlanes, w->aafCutPlanes, (size_t)n * 4 * sizeof(float)))
        return;
    memcpy(w->aafCutPlanes, aafPlanes, sizeof(aafPlanes));
    w->iNumCutPlanes = n;
    w->uiCutVersion++;
    // the sun's shadow is of what is left
    if (w->bLoaded && w->bShadowsReady)
        twEngine_UpdateSun();
}

// What changes which elements show: the world's flags follow
static void ShownChanged(void)
{
    twWorld_UpdateHiddenElements();
}

void twSection_Clear(void)
{
    TwSection* s = pSection;
    if (!s)
        return;
    int bFocus = s->iFocus != TW_FOCUS_NONE;
    s->bStoreyCut = s->bBox = 0;
    s->iNumPlanes = 0;
    s->iMove = TW_SECTION_MOVE_NONE;
    s->iFocus = TW_FOCUS_NONE;
    s->szFocus[0] = 0;
    if (bFocus)
        ShownChanged();
}

// The floor levels of the model's storeys: each layer's lowest element, levels within a metre
// made one; none where the model has one layer
static int Levels(float* afLevels)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded)
        return 0;
    int aiLayers[MAX_LEVELS], n = 0;
    float afLow[MAX_LEVELS];
    for (int e = 0; e < w->iNumElements; e++) {
        const TwElement* pElement = &w->pElements[e];
        int i = 0;
        while (i < n && aiLayers[i] != pElement->iLayer)
            i++;
        if (i == n) {
            if (n == MAX_LEVELS)
                continue;
            aiLayers[n] = pElement->iLayer;
            afLow[n++] = pElement->vMin[1];
        } else if (pElement->vMin[1] < afLow[i]) {
            afLow[i] = pElement->vMin[1];
        }
    }
    if (n < 2)
        return 0;
    // sorted by insertion, then merged
    for (int i = 1; i < n; i++)
        for (int j = i; j > 0 && afLow[j] < afLow[j - 1]; j--) {
            float f = afLow[j];
            afLow[j] = afLow[j - 1];
            afLow[j - 1] = f;
        }
    int iLevels = 0;
    for (int i = 0; i < n; i++)
        if (!iLevels || afLow[i] - afLevels[iLevels - 1] >= STOREY_MERGE)
            afLevels[iLevels++] = afLow[i];
    return iLevels;
}

// The walker's feet, and the storey they stand in: its floor and the next one up
static void WalkerStorey(const TwCamera* pCam, float* pfFloor, float* pfNext)
{
    float fFeet = pCam->bTopView ? pCam->vOrthoCentre[1] : pCam->vPos[1] - pCam->fEyeHeight;
    float afLevels[MAX_LEVELS];
    int n = Levels(afLevels);
    *pfFloor = fFeet;
    *pfNext = fFeet + STOREY_DEFAULT;
    if (!pCam->bTopView) {
        float fFloor;
        if (twWorld_FloorBelow(pCam->vPos[0], pCam->vPos[2], fFeet, &fFloor)) {
            *pfFloor = fFloor;
            *pfNext = fFloor + STOREY_DEFAULT;
        }
    }
    for (int i = 0; i < n; i++) {
        if (afLevels[i] <= *pfFloor + 0.3f) {
            if (n > 1 && !pCam->bTopView)
                continue;
            *pfFloor = afLevels[i];
        } else {
            *pfNext = afLevels[i];
            return;
        }
    }
}

int twSection_ToggleStoreyCut(const TwCamera* pCam)
{
    TwSection* s = pSection;
    if (!s || !pCam)
        return 0;
    s->bBox = 0;
    s->bStoreyCut = !s->bStoreyCut;
    if (!s->bStoreyCut) {
        if (s->iMove == TW_SECTION_MOVE_STOREY)
            s->iMove = s->iNumPlanes ? s->iNumPlanes - 1 : TW_SECTION_MOVE_NONE;
        twLog(TAG, "The storey cut is off\n");
        return 1;
    }
    if (s->iNumPlanes == TW_SECTION_PLANES)
        s->iNumPlanes--; // the storey cut takes the last plane's place
    float fFloor, fNext;
    WalkerStorey(pCam, &fFloor, &fNext);
    s->fStoreyCutY = fFloor + TW_SECTION_STOREY_CUT;
    s->iMove = TW_SECTION_MOVE_STOREY;
    twLog(TAG, "The storey cut is at %.2f m, %.2f m over the floor at %.2f m\n", s->fStoreyCutY,
          TW_SECTION_STOREY_CUT, fFloor);
    return 1;
}

int twSection_StepStorey(const TwCamera* pCam, int iDir)
{
    TwSection* s = pSection;
    if (!s || !s->bStoreyCut)
        return 0;
    (void)pCam;
    float afLevels[MAX_LEVELS];
    int n = Levels(afLevels);
    float fFloor = s->fStoreyCutY - TW_SECTION_STOREY_CUT, fTo = fFloor + iDir * STOREY_DEFAULT;
    if (n) {
        // the next level past this floor's, that way
        int bFound = 0;
        for (int i = iDir > 0 ? 0 : n - 1; i >= 0 && i < n && !bFound; i += iDir > 0 ? 1 : -1)
            if ((iDir > 0 && afLevels[i] > fFloor + 0.3f) || (iDir < 0 && afLevels[i] < fFloor - 0.3f)) {
                fTo = afLevels[i];
                bFound = 1;
            }
        if (!bFound)
            return 0;
    }
    s->fStoreyCutY = fTo + TW_SECTION_STOREY_CUT;
    s->iMove = TW_SECTION_MOVE_STOREY;
    twLog(TAG, "The storey cut is at %.2f m\n", s->fStoreyCutY);
    return 1;
}

int twSection_AddPlane(const TwCamera* pCam, int iX, int iY)
{
    TwSection* s = pSection;
    if (!s || !pCam || !pWorld || !pWorld->bLoaded)
        return 0;
    int iRoom = TW_SECTION_PLANES - (s->bStoreyCut ? 1 : 0);
    if (s->iNumPlanes >= iRoom) {
        twLog(TAG, "Six planes cut at most\n");
        return 0;
    }
    s->bBox = 0;
    float* p = s->aafPlanes[s->iNumPlanes];
    TwFace face;
    memset(&face, 0, sizeof(face));
    if (twWorld_FaceUnder(pCam, iX, iY, &face)) {
        // along the face, the side it faces (the walker's) cut away
        for (int i = 0; i < 3; i++)
            p[i] = -face.vNormal[i];
        p[3] = twVec_Dot(face.vNormal, face.vPoint);
        twLog(TAG, "A plane along the face of element %d\n", face.iElement);
    } else {
        // across the view, a little ahead
        const float* d = pCam->vDir;
        float afAt[3];
        for (int i = 0; i < 3; i++) {
            afAt[i] = pCam->vPos[i] + d[i] * PLANE_AHEAD;
            p[i] = d[i];
        }
        p[3] = -twVec_Dot(d, afAt);
        twLog(TAG, "A plane across the view\n");
    }
    twWorld_FreeFace(&face);
    s->iMove = s->iNumPlanes++;
    return 1;
}

void twSection_Flip(void)
{
    TwSection* s = pSection;
    if (!s || s->iMove < 0 || s->iMove >= s->iNumPlanes)
        return;
    for (float& f : s->aafPlanes[s->iMove])
        f = -f;
}

void twSection_Remove(void)
{
    TwSection* s = pSection;
    if (!s)
        return;
    if (s->iMove >= 0 && s->iMove < s->iNumPlanes) {
        memmove(s->aafPlanes[s->iMove], s->aafPlanes[s->iMove + 1],
                (size_t)(s->iNumPlanes - s->iMove - 1) * sizeof(s->aafPlanes[0]));
        s->iNumPlanes--;
    } else if (s->iMove >= TW_SECTION_MOVE_BOX_FACE) {
        s->bBox = 0;
    } else if (s->iMove == TW_SECTION_MOVE_STOREY) {
        s->bStoreyCut = 0;
    }
    s->iMove = s->iNumPlanes ? s->iNumPlanes - 1 : (s->bStoreyCut ? TW_SECTION_MOVE_STOREY : TW_SECTION_MOVE_NONE);
}

void twSection_MoveBoxFace(int iFace, float fMetres)
{
    TwSection* s = pSection;
    if (!s || iFace < 0 || iFace >= 6)
        return;
    int a = iFace / 2;
    if (iFace & 1)
        s->vBoxMax[a] = fmaxf(s->vBoxMax[a] + fMetres, s->vBoxMin[a] + BOX_SMALLEST);
    else
        s->vBoxMin[a] = fminf(s->vBoxMin[a] - fMetres, s->vBoxMax[a] - BOX_SMALLEST);
}

void twSection_Wheel(const TwCamera* pCam, int iNotches, int bFast)
{
    TwSection* s = pSection;
    if (!s || !iNotches)
        return;
    float fStep = iNotches * (bFast ? TW_SECTION_STEP_FAST : TW_SECTION_STEP);
    if (s->iMove == TW_SECTION_MOVE_STOREY && s->bStoreyCut && !s->bBox) {
        s->fStoreyCutY += fStep;
    } else if (s->iMove >= TW_SECTION_MOVE_BOX_FACE && s->bBox) {
        twSection_MoveBoxFace(s->iMove - TW_SECTION_MOVE_BOX_FACE, fStep);
    } else if (s->iMove >= 0 && s->iMove < s->iNumPlanes && !s->bBox) {
        // away from the eye, whichever way the plane faces
        float* p = s->aafPlanes[s->iMove];
        float fEye = twVec_Dot(p, pCam->vPos) + p[3];
        p[3] -= (fEye < 0 ? 1 : -1) * fStep;
    }
}

static void SetBox(const float* pvMin, const float* pvMax, float fMargin)
{
    TwSection* s = pSection;
    for (int i = 0; i < 3; i++) {
        s->vBoxMin[i] = pvMin[i] - fMargin;
        s->vBoxMax[i] = fmaxf(pvMax[i] + fMargin, s->vBoxMin[i] + BOX_SMALLEST);
    }
    s->bBox = 1;
    s->iMove = TW_SECTION_MOVE_BOX_FACE + 3; // the top, the face one moves most
}

int twSection_ToggleBox(const TwCamera* pCam, int iElement)
{
    TwSection* s = pSection;
    TwWorld* w = pWorld;
    if (!s || !pCam || !w || !w->bLoaded)
        return 0;
    if (s->bBox) {
        s->bBox = 0;
        s->iMove = s->iNumPlanes ? s->iNumPlanes - 1 : (s->bStoreyCut ? TW_SECTION_MOVE_STOREY : TW_SECTION_MOVE_NONE);
        twLog(TAG, "The box is off\n");
        return 1;
    }
    if (iElement >= 0 && iElement < w->iNumElements) {
        SetBox(w->pElements[iElement].vMin, w->pElements[iElement].vMax, BOX_MARGIN);
        twLog(TAG, "A box around element %d\n", iElement);
        return 1;
    }
    float fFloor, fNext;
    WalkerStorey(pCam, &fFloor, &fNext);
    float afMin[3] = {w->vMin[0], fFloor, w->vMin[2]}, afMax[3] = {w->vMax[0], fNext, w->vMax[2]};
    SetBox(afMin, afMax, 0.01f);
    twLog(TAG, "A box around the storey from %.2f m to %.2f m\n", fFloor, fNext);
    return 1;
}

int twSection_ModelBox(void)
{
    TwSection* s = pSection;
    TwWorld* w = pWorld;
    if (!s || !w || !w->bLoaded)
        return 0;
    SetBox(w->vMin, w->vMax, 0.01f);
    twLog(TAG, "A box around the model\n");
    return 1;
}

// The box's face the view's middle line meets first, from inside or outside
int twSection_StartDrag(const TwCamera* pCam)
{
    TwSection* s = pSection;
    if (!s || !s->bBox || !pCam)
        return 0;
    const float* o = pCam->vPos;
    const float* d = pCam->vDir;
    float fBest = 1e30f;
    s->iDragFace = -1;
    for (int f = 0; f < 6; f++) {
        int a = f / 2;
        if (fabsf(d[a]) < 1e-6f)
            continue;
        float t = ((f & 1 ? s->vBoxMax[a] : s->vBoxMin[a]) - o[a]) / d[a];
        if (t <= 0 || t >= fBest)
            continue;
        // the point must lie on the face, within the box's other two sides
        int bOn = 1;
        for (int b = 0; b < 3; b++) {
            float x = o[b] + d[b] * t;
            if (b != a && (x < s->vBoxMin[b] - 1e-3f || x > s->vBoxMax[b] + 1e-3f))
                bOn = 0;
        }
        if (bOn) {
            fBest = t;
            s->iDragFace = f;
        }
    }
    if (s->iDragFace < 0)
        return 0;
    s->iMove = TW_SECTION_MOVE_BOX_FACE + s->iDragFace;
    twLog(TAG, "Dragging the box's face %d\n", s->iDragFace);
    return 1;
}

void twSection_Drag(const TwCamera* pCam, int iDy)
{
    TwSection* s = pSection;
    if (!s || s->iDragFace < 0 || !s->bBox || !iDy)
        return;
    // a count moves the face by about what a pixel covers at its distance
    int a = s->iDragFace / 2;
    float fFace = s->iDragFace & 1 ? s->vBoxMax[a] : s->vBoxMin[a];
    float fDistance = fmaxf(1.0f, fabsf(fFace - pCam->vPos[a]));
    float fStep = -iDy * fDistance * 0.004f;
    // pulled toward the eye: outward where the eye is outside that face, inward from inside
    int bEyeOutside = s->iDragFace & 1 ? pCam->vPos[a] > fFace : pCam->vPos[a] < fFace;
    twSection_MoveBoxFace(s->iDragFace, bEyeOutside ? fStep : -fStep);
}

void twSection_EndDrag(void)
{
    if (pSection)
        pSection->iDragFace = -1;
}

// ---------------------------------------------------------------------------------------------
// Classes and focus
// ---------------------------------------------------------------------------------------------

const char* twSection_ElementClass(int iElement, char* pstrBuffer, int iSize)
{
    const TwElementInfo* pInfo = twWorld_GetElementInfo(iElement);
    if (pInfo && pInfo->apstrFields[1][0])
        return pInfo->apstrFields[1];
    TwWorld* w = pWorld;
    int iType = w && iElement >= 0 && iElement < w->iNumElements ? w->pElements[iElement].iType : -1;
    const char* pstrName = iType >= 0 ? twStrings_Find(STR_TYPE_FIRST + iType) : nullptr;
    if (pstrName)
        snprintf(pstrBuffer, iSize, "%s", pstrName);
    else
        snprintf(pstrBuffer, iSize, "Type %d", iType);
    return pstrBuffer;
}

static const char* GlobalId(int iElement)
{
    const TwElementInfo* pInfo = twWorld_GetElementInfo(iElement);
    return pInfo ? pInfo->apstrFields[3] : "";
}

static int CompareClasses(const void* a, const void* b)
{
    return strcmp((const char*)a, (const char*)b);
}

void twSection_FindClasses(void)
{
    TwSection* s = pSection;
    TwWorld* w = pWorld;
    if (!s)
        return;
    s->iNumClasses = 0;
    s->bClassesFromTypes = 1;
    for (int e = 0; w && w->bLoaded && e < w->iNumElements; e++) {
        char szBuffer[TW_SECTION_ID_SIZE];
        const char* pstrClass = twSection_ElementClass(e, szBuffer, sizeof(szBuffer));
        const TwElementInfo* pInfo = twWorld_GetElementInfo(e);
        if (pInfo && pInfo->apstrFields[1][0])
            s->bClassesFromTypes = 0;
        int i = 0;
        while (i < s->iNumClasses && strcmp(s->aszClasses[i], pstrClass))
            i++;
        if (i == s->iNumClasses && i < TW_SECTION_CLASSES)
            snprintf(s->aszClasses[s->iNumClasses++], TW_SECTION_ID_SIZE, "%s", pstrClass);
    }
    qsort(s->aszClasses, (size_t)s->iNumClasses, TW_SECTION_ID_SIZE, CompareClasses);
}

// Whether a tab-joined list holds the name whole
static int ListHolds(const char* pstrList, const char* pstrName)
{
    size_t uiLength = strlen(pstrName);
    for (const char* p = pstrList; *p;) {
        const char* pstrEnd = strchr(p, '\t');
        size_t uiItem = pstrEnd ? (size_t)(pstrEnd - p) : strlen(p);
        if (uiItem == uiLength && !strncmp(p, pstrName, uiLength))
            return 1;
        if (!pstrEnd)
            break;
        p = pstrEnd + 1;
    }
    return 0;
}

int twSection_ClassHidden(const char* pstrClass)
{
    return pSection && pstrClass[0] && ListHolds(pSection->szHidden, pstrClass);
}

// A class into the hidden list, or out of it
static int SetClassHidden(const char* pstrClass, int bHidden)
{
    TwSection* s = pSection;
    int bNow = twSection_ClassHidden(pstrClass);
    if (bNow == bHidden || !pstrClass[0] || strchr(pstrClass, '\t'))
        return 1;
    if (bHidden) {
        size_t uiUsed = strlen(s->szHidden), uiName = strlen(pstrClass);
        if (uiUsed + uiName + 2 > sizeof(s->szHidden)) {
            twLogError(TAG, "!SetClassHidden : the hidden classes fill their list\n");
            return 0;
        }
        snprintf(s->szHidden + uiUsed, sizeof(s->szHidden) - uiUsed, "%s%s", uiUsed ? "\t" : "", pstrClass);
        return 1;
    }
    // the list again without it
    char szRest[TW_SECTION_HIDDEN_SIZE] = "";
    size_t uiRest = 0;
    for (const char* p = s->szHidden; *p;) {
        const char* pstrEnd = strchr(p, '\t');
        size_t uiItem = pstrEnd ? (size_t)(pstrEnd - p) : strlen(p);
        if (!(uiItem == strlen(pstrClass) && !strncmp(p, pstrClass, uiItem))) {
            uiRest += (size_t)snprintf(szRest + uiRest, sizeof(szRest) - uiRest, "%s%.*s", uiRest ? "\t" : "",
                                       (int)uiItem, p);
            if (uiRest >= sizeof(szRest))
                uiRest = sizeof(szRest) - 1;
        }
        if (!pstrEnd)
            break;
        p = pstrEnd + 1;
    }
    memcpy(s->szHidden, szRest, sizeof(szRest));
    return 1;
}

void twSection_ToggleClass(int iClass)
{
    TwSection* s = pSection;
    if (!s || iClass < 0 || iClass >= s->iNumClasses)
        return;
    const char* pstrClass = s->aszClasses[iClass];
    SetClassHidden(pstrClass, !twSection_ClassHidden(pstrClass));
    twLog(TAG, "Class '%s' %s\n", pstrClass, twSection_ClassHidden(pstrClass) ? "hidden" : "shown");
    ShownChanged();
}

int twSection_SetFocus(int iFocus, int iElement, int bClass)
{
    TwSection* s = pSection;
    TwWorld* w = pWorld;
    if (!s)
        return 0;
    if (iFocus == TW_FOCUS_NONE || !w || iElement < 0 || iElement >= w->iNumElements) {
        s->iFocus = TW_FOCUS_NONE;
        s->szFocus[0] = 0;
        ShownChanged();
        return 1;
    }
    char szBuffer[TW_SECTION_ID_SIZE];
    const char* pstrId = GlobalId(iElement);
    // an element without a GlobalId can only be kept by its class
    if (!bClass && !pstrId[0]) {
        twLog(TAG, "Element %d has no GlobalId: its class stands for it\n", iElement);
        bClass = 1;
    }
    snprintf(s->szFocus, sizeof(s->szFocus), "%s",
             bClass ? twSection_ElementClass(iElement, szBuffer, sizeof(szBuffer)) : pstrId);
    s->iFocus = iFocus;
    s->bFocusClass = bClass;
    twLog(TAG, "%s %s '%s'\n", iFocus == TW_FOCUS_XRAY ? "X-ray on" : "Isolated", bClass ? "class" : "element",
          s->szFocus);
    ShownChanged();
    return 1;
}

int twSection_ElementState(int iElement)
{
    TwSection* s = pSection;
    if (!s)
        return TW_SECTION_SHOWN;
    char szBuffer[TW_SECTION_ID_SIZE];
    const char* pstrClass = s->szHidden[0] || (s->iFocus && s->bFocusClass)
                                ? twSection_ElementClass(iElement, szBuffer, sizeof(szBuffer))
                                : "";
    if (s->szHidden[0] && twSection_ClassHidden(pstrClass))
        return TW_SECTION_HIDDEN;
    if (s->iFocus == TW_FOCUS_NONE)
        return TW_SECTION_SHOWN;
    int bFocused = s->bFocusClass ? !strcmp(pstrClass, s->szFocus) : !strcmp(GlobalId(iElement), s->szFocus);
    if (bFocused)
        return TW_SECTION_SHOWN;
    return s->iFocus == TW_FOCUS_XRAY ? TW_SECTION_GLASS : TW_SECTION_HIDDEN;
}

// ---------------------------------------------------------------------------------------------
// The state as text: "key\tvalues" lines
// ---------------------------------------------------------------------------------------------

int twSection_Active(void)
{
    TwSection* s = pSection;
    return s && (s->bStoreyCut || s->iNumPlanes || s->bBox || s->iFocus || s->szHidden[0]);
}

int twSection_WriteState(char* pstrOut, int iSize)
{
    TwSection* s = pSection;
    if (!s || iSize < 1)
        return 0;
    int n = 0;
    pstrOut[0] = 0;
    auto Put = [&](const char* pstrFormat, auto... args) {
        if (n < iSize)
            n += snprintf(pstrOut + n, (size_t)(iSize - n), pstrFormat, args...);
    };
    Put("caps\t%d\n", s->bCaps ? 1 : 0);
    if (s->bStoreyCut)
        Put("storey\t%.9g\n", s->fStoreyCutY);
    for (int i = 0; i < s->iNumPlanes; i++)
        Put("plane\t%.9g %.9g %.9g %.9g\n", s->aafPlanes[i][0], s->aafPlanes[i][1], s->aafPlanes[i][2],
            s->aafPlanes[i][3]);
    if (s->bBox)
        Put("box\t%.9g %.9g %.9g %.9g %.9g %.9g\n", s->vBoxMin[0], s->vBoxMin[1], s->vBoxMin[2], s->vBoxMax[0],
            s->vBoxMax[1], s->vBoxMax[2]);
    if (s->iFocus)
        Put("%s\t%s\t%s\n", s->iFocus == TW_FOCUS_XRAY ? "xray" : "isolate", s->bFocusClass ? "class" : "id",
            s->szFocus);
    for (const char* p = s->szHidden; *p;) {
        const char* pstrEnd = strchr(p, '\t');
        int iItem = pstrEnd ? (int)(pstrEnd - p) : (int)strlen(p);
        Put("hide\t%.*s\n", iItem, p);
        if (!pstrEnd)
            break;
        p = pstrEnd + 1;
    }
    if (n >= iSize) {
        twLogError(TAG, "!WriteState : %d bytes, past the %d given\n", n, iSize);
        pstrOut[0] = 0;
        return 0;
    }
    return n;
}

// Numbers of a line, all finite, exactly as many as asked
static int Numbers(const char* pstr, float* pf, int iCount)
{
    for (int i = 0; i < iCount; i++) {
        char* pstrEnd;
        double d = strtod(pstr, &pstrEnd);
        if (pstrEnd == pstr || !isfinite(d) || fabs(d) > 1e7)
            return 0;
        pf[i] = (float)d;
        pstr = pstrEnd;
    }
    while (*pstr == ' ')
        pstr++;
    return *pstr == 0;
}

int twSection_ReadState(const char* pstrText, int iLength)
{
    TwSection* s = pSection;
    if (!s || !pstrText || iLength < 0)
        return 0;
    if (iLength > TW_SECTION_STATE_SIZE) {
        twLogError(TAG, "!ReadState : %d bytes, past the %d a view's cut takes\n", iLength, TW_SECTION_STATE_SIZE);
        return 0;
    }
    // read into a copy; the tool changes only when the whole text is good
    static TwSection s_new;
    s_new = *s;
    TwSection* t = &s_new;
    t->bStoreyCut = t->bBox = 0;
    t->iNumPlanes = 0;
    t->iFocus = TW_FOCUS_NONE;
    t->szFocus[0] = 0;
    t->szHidden[0] = 0;
    t->bCaps = 1;
    t->iMove = TW_SECTION_MOVE_NONE;
    char szLine[TW_SECTION_HIDDEN_SIZE];
    int iAt = 0, iLine = 0;
    TwSection* sSaved = pSection;
    while (iAt < iLength) {
        int iEnd = iAt;
        while (iEnd < iLength && pstrText[iEnd] != '\n')
            iEnd++;
        int iLineLength = iEnd - iAt;
        iLine++;
        if (iLineLength >= (int)sizeof(szLine) || memchr(pstrText + iAt, 0, (size_t)iLineLength)) {
            twLogError(TAG, "!ReadState : line %d is not a line of a cut\n", iLine);
            return 0;
        }
        memcpy(szLine, pstrText + iAt, (size_t)iLineLength);
        szLine[iLineLength] = 0;
        iAt = iEnd + 1;
        char* pstrValue = strchr(szLine, '\t');
        if (!pstrValue)
            continue; // an empty line, or one a later version adds
        *pstrValue++ = 0;
        int bOk = 1;
        float af[6] = {0, 0, 0, 0, 0, 0};
        if (!strcmp(szLine, "caps")) {
            bOk = Numbers(pstrValue, af, 1);
            t->bCaps = af[0] != 0;
        } else if (!strcmp(szLine, "storey")) {
            bOk = Numbers(pstrValue, &t->fStoreyCutY, 1);
            t->bStoreyCut = 1;
            t->iMove = TW_SECTION_MOVE_STOREY;
        } else if (!strcmp(szLine, "plane")) {
            bOk = t->iNumPlanes + t->bStoreyCut < TW_SECTION_PLANES && Numbers(pstrValue, af, 4);
            // a normal made unit, unless it is one already: read again, the plane stays the same
            float fLength = sqrtf(af[0] * af[0] + af[1] * af[1] + af[2] * af[2]);
            bOk = bOk && fLength > 1e-3f;
            if (fabsf(fLength - 1) < 1e-5f)
                fLength = 1;
            for (int i = 0; bOk && i < 4; i++)
                t->aafPlanes[t->iNumPlanes][i] = af[i] / fLength;
            if (bOk)
                t->iMove = t->iNumPlanes++;
        } else if (!strcmp(szLine, "box")) {
            bOk = Numbers(pstrValue, af, 6) && af[0] < af[3] && af[1] < af[4] && af[2] < af[5];
            for (int i = 0; bOk && i < 3; i++) {
                t->vBoxMin[i] = af[i];
                t->vBoxMax[i] = af[i + 3];
            }
            t->bBox = bOk;
            t->iMove = TW_SECTION_MOVE_BOX_FACE + 3;
        } else if (!strcmp(szLine, "xray") || !strcmp(szLine, "isolate")) {
            char* pstrName = strchr(pstrValue, '\t');
            bOk = pstrName && strlen(pstrName + 1) < TW_SECTION_ID_SIZE && pstrName[1];
            if (bOk) {
                *pstrName++ = 0;
                bOk = !strcmp(pstrValue, "class") || !strcmp(pstrValue, "id");
                t->bFocusClass = !strcmp(pstrValue, "class");
                t->iFocus = szLine[0] == 'x' ? TW_FOCUS_XRAY : TW_FOCUS_ISOLATE;
                snprintf(t->szFocus, sizeof(t->szFocus), "%s", pstrName);
            }
        } else if (!strcmp(szLine, "hide")) {
            pSection = t; // the list is the copy's
            bOk = strlen(pstrValue) < TW_SECTION_ID_SIZE && SetClassHidden(pstrValue, 1);
            pSection = sSaved;
        }
        if (!bOk) {
            twLogError(TAG, "!ReadState : line %d ('%s') is damaged\n", iLine, szLine);
            return 0;
        }
    }
    int bShownChanges = strcmp(s->szHidden, t->szHidden) || s->iFocus != t->iFocus ||
                        strcmp(s->szFocus, t->szFocus) || s->bFocusClass != t->bFocusClass;
    *s = *t;
    if (bShownChanges)
        ShownChanged();
    return 1;
}
