// Element picking: the element under the cross found in an ID picture of one pixel, drawn
// over the frame with its outline, and told in a small panel (type, layer, triangles, size).
#include <GL/glew.h>
#include <math.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/vector.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "world/world.h"

#define STR_ELEMENT 380 // then type, layer, triangles, size
#define STR_SOURCE_FIELDS 385 // name, IFC class, storey, GlobalId, model: the side file's lines
#define STR_TYPE_FIRST 250 // the display name of type t is string 250 + t
#define STR_PICK_MORE 390  // the last line when the panel holds no more
#define STR_PICK_FOLD 392  // beside the first set's name
#define PANEL_WIDTH 560
#define VALUE_X 180 // where the values stand in the panel
#define LINE_STEP 18
#define FEET_PER_METRE 3.28084f
#define INSPECT_SETS 256 // sets of an element that fold
#define WRAP_CHARS 50    // of a value on one row of the panel
#define WRAP_ROWS 8      // a value's rows; what is longer Ctrl+C copies whole

// Whether the ray from p along d meets the box; only elements it meets are drawn for the pick
static int RayMeetsBox(const float* p, const float* d, const float* pvMin, const float* pvMax)
{
    float fNear = 0, fFar = 1e30f;
    for (int i = 0; i < 3; i++) {
        if (d[i] == 0) {
            if (p[i] < pvMin[i] || p[i] > pvMax[i])
                return 0;
            continue;
        }
        float t0 = (pvMin[i] - p[i]) / d[i], t1 = (pvMax[i] - p[i]) / d[i];
        if (t0 > t1) {
            float t = t0;
            t0 = t1;
            t1 = t;
        }
        fNear = t0 > fNear ? t0 : fNear;
        fFar = t1 < fFar ? t1 : fFar;
        if (fNear > fFar)
            return 0;
    }
    return 1;
}

int twWorld_PickElement(const TwCamera* pCam, int iX, int iY)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || !pCam)
        return -1;
    int aiViewport[4] = {0, 0, twWindow_GetWidth(), twWindow_GetHeight()};
    if (aiViewport[2] <= 0 || aiViewport[3] <= 0 || iX < 0 || iY < 0 || iX >= aiViewport[2] || iY >= aiViewport[3])
        return -1;
    // the ray through the pixel's middle, from the near plane to the far
    float afNdc[3] = {2.0f * (iX + 0.5f) / aiViewport[2] - 1, 2.0f * (iY + 0.5f) / aiViewport[3] - 1, -1};
    float afNear[3], afFar[3], afDir[3];
    if (!twCamera_Unproject(pCam, afNdc, afNear))
        return -1;
    afNdc[2] = 1;
    if (!twCamera_Unproject(pCam, afNdc, afFar))
        return -1;
    twVec_Sub(afFar, afNear, afDir);

    // one pixel of ids: only that pixel is cleared and drawn
    glViewport(aiViewport[0], aiViewport[1], aiViewport[2], aiViewport[3]);
    glScissor(iX, iY, 1, 1);
    glEnable(GL_SCISSOR_TEST);
    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(pCam->mProjection);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(pCam->mView);
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    glEnableClientState(GL_VERTEX_ARRAY);
    twWorld_ClipToCut(1); // what the cut takes away can't be picked
    for (int e = 0; e < w->iNumElements; e++) {
        const TwElement* pElement = &w->pElements[e];
        if (!twWorld_ElementShown(pElement) || !RayMeetsBox(afNear, afDir, pElement->vMin, pElement->vMax))
            continue;
        // the id in the frame buffer's bytes, as the sweep writes its own
        uint32_t uiId = (uint32_t)e + 1;
        uint8_t aucColour[4];
        memcpy(aucColour, &uiId, 4);
        glColor4ubv(aucColour);
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            const TwMesh* pMesh = &pElement->pMeshes[m];
            if (!pMesh->pVerts || !pMesh->pusIndices || !pMesh->usNumIndices)
                continue;
            glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), (const uint8_t*)pMesh->pVerts + offsetof(TwVertex, vPos));
            glDrawElements(GL_TRIANGLES, pMesh->usNumIndices, GL_UNSIGNED_SHORT, pMesh->pusIndices);
        }
    }
    twWorld_ClipToCut(0);
    glDisableClientState(GL_VERTEX_ARRAY);
    glDisable(GL_SCISSOR_TEST);
    uint32_t uiPixel = 0;
    glReadPixels(iX, iY, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, &uiPixel);
    // without alpha bits the frame buffer reads alpha as full, which no id has
    if (!twWindow_HasAlpha())
        uiPixel &= 0x00FFFFFFu;
    if (uiPixel == 0 || uiPixel > (uint32_t)w->iNumElements)
        return -1;
    return (int)uiPixel - 1;
}

// An element's triangles, or its edges, from its meshes' arrays
static void DrawElement(const TwElement* pElement, int bEdges)
{
    glEnableClientState(GL_VERTEX_ARRAY);
    for (int m = 0; m < pElement->iNumMeshes; m++) {
        const TwMesh* pMesh = &pElement->pMeshes[m];
        int iCount = bEdges ? pMesh->usNumEdgeIndices : pMesh->usNumIndices;
        const uint16_t* pusIndices = bEdges ? pMesh->pusEdgeIndices : pMesh->pusIndices;
        if (!pMesh->pVerts || !pusIndices || !iCount)
            continue;
        glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), (const uint8_t*)pMesh->pVerts + offsetof(TwVertex, vPos));
        glDrawElements(bEdges ? GL_LINES : GL_TRIANGLES, iCount, GL_UNSIGNED_SHORT, pusIndices);
        pWorld->iNumDrawCalls++;
    }
    glDisableClientState(GL_VERTEX_ARRAY);
}

static const TwElement* ElementAt(int iIndex)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || iIndex < 0 || iIndex >= w->iNumElements)
        return nullptr;
    return &w->pElements[iIndex];
}

void twWorld_DrawPicked(int iPicked, int iTracked)
{
    const TwElement* pPicked = ElementAt(iPicked);
    const TwElement* pTracked = iTracked != iPicked ? ElementAt(iTracked) : nullptr;
    if (!pPicked && !pTracked)
        return;
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    glDepthFunc(GL_LEQUAL);
    twWorld_ClipToCut(1);
    if (pPicked) {
        // a glaze of amber over the picked element, pulled forward so that it wins the depth
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glEnable(GL_POLYGON_OFFSET_FILL);
        glPolygonOffset(-1, -2);
        glDepthMask(GL_FALSE);
        glColor4f(1.0f, 0.7f, 0.0f, 0.45f);
        DrawElement(pPicked, 0);
        glDepthMask(GL_TRUE);
        glDisable(GL_POLYGON_OFFSET_FILL);
        glDisable(GL_BLEND);
        glColor4f(1.0f, 0.6f, 0.0f, 1);
        DrawElement(pPicked, 1);
    }
    // the element under the cross wears its edges in white, so that a click's result is known
    if (pTracked) {
        glColor4f(1, 1, 1, 1);
        DrawElement(pTracked, 1);
    }
    twWorld_ClipToCut(0);
    glColor4f(1, 1, 1, 1);
}

// The display name of a type: its string, or the number where the table has none
static void TypeName(int iType, char* pstrOut, size_t uiSize)
{
    const char* pstrName = iType >= 0 ? twStrings_Find(STR_TYPE_FIRST + iType) : nullptr;
    if (pstrName)
        snprintf(pstrOut, uiSize, "%s", pstrName);
    else
        snprintf(pstrOut, uiSize, "%d", iType);
}

// "label\tvalue", each cut to a length that fits the panel
static void Line(char* pstrOut, int iLabel, const char* pstrValue)
{
    snprintf(pstrOut, TW_PICK_LINE_SIZE, "%.40s\t%.100s", twStrings_Get(iLabel), pstrValue);
}

// The inspector's sets: folded or open, scrolled by the wheel a few rows at a time. The state
// belongs to one element and starts over, all open and at the top, for another.
static struct {
    int iElement;
    int iScroll;           // rows of the sets scrolled past
    int iRows;             // rows of the sets at the last count
    int iMarked;           // the set the first shown row belongs to, from 0; -1 none
    int iMarkedRow;        // the row of its name
    int bCut;              // rows past the scroll point were not listed
    int iSets;             // sets at the last count
    uint8_t aucFolded[INSPECT_SETS]; // sets past these never fold
} s_inspect = {-1, 0, 0, -1, 0, 0, 0, {0}};

static void InspectElement(int iElement)
{
    if (s_inspect.iElement == iElement)
        return;
    memset(&s_inspect, 0, sizeof(s_inspect));
    s_inspect.iElement = iElement;
    s_inspect.iMarked = -1;
}

void twWorld_ScrollInspector(int iRows)
{
    int iScroll = s_inspect.iScroll + iRows, iLast = s_inspect.iRows - 1;
    s_inspect.iScroll = iScroll > iLast ? iLast : iScroll;
    if (s_inspect.iScroll < 0)
        s_inspect.iScroll = 0;
}

void twWorld_FoldInspector(int bAll)
{
    int iSet = s_inspect.iMarked;
    if (iSet < 0)
        return;
    if (bAll) {
        // all fold, unless all the foldable are folded: then all open
        int bAllFolded = 1;
        for (int i = 0; i < s_inspect.iSets && i < INSPECT_SETS; i++)
            bAllFolded &= s_inspect.aucFolded[i];
        memset(s_inspect.aucFolded, !bAllFolded, sizeof(s_inspect.aucFolded));
        s_inspect.iScroll = 0;
        return;
    }
    if (iSet < INSPECT_SETS)
        s_inspect.aucFolded[iSet] = !s_inspect.aucFolded[iSet];
    s_inspect.iScroll = s_inspect.iMarkedRow; // the set's name stays first
}

// A value cut into rows of up to WRAP_CHARS, at a space where one lies in the row's last third
static int WrapValue(const char* pstrValue, int aiStart[WRAP_ROWS], int aiLength[WRAP_ROWS])
{
    int iRows = 0, iLength = (int)strlen(pstrValue), iAt = 0;
    while (iRows < WRAP_ROWS) {
        int iTake = iLength - iAt;
        if (iTake > WRAP_CHARS) {
            iTake = WRAP_CHARS;
            for (int i = WRAP_CHARS; i > WRAP_CHARS * 2 / 3; i--)
                if (pstrValue[iAt + i] == ' ') {
                    iTake = i;
                    break;
                }
        }
        aiStart[iRows] = iAt;
        aiLength[iRows++] = iTake;
        iAt += iTake;
        while (pstrValue[iAt] == ' ')
            iAt++;
        if (iAt >= iLength)
            break;
    }
    return iRows;
}

// The element's sets from the scrolled row on: a set's name has no label and a mark of
// folded (+) or open (-); a value's further rows have a blank label
static int SetLines(int iElement, int iUnits, char (*aszLines)[TW_PICK_LINE_SIZE], int iMax)
{
    InspectElement(iElement);
    char* pData = twWorld_GetElementProperties(iElement, nullptr);
    char* pAt = pData;
    const char* pstrSet = nullptr;
    TwDataLine line;
    char szValue[WRAP_CHARS * WRAP_ROWS + 1];
    char szName[112] = "";
    int n = 0, iRow = 0, iSet = -1, bFolded = 0;
    s_inspect.iMarked = -1;
    s_inspect.bCut = 0;
    // a row past the scroll point is listed while the lines hold it; every row is counted.
    // Scrolled into a set's values, its name stands above them
    auto Emit = [&](const char* pstrLabel, const char* pstrText, int iLength, int bName) {
        if (iRow == s_inspect.iScroll) {
            s_inspect.iMarked = iSet;
            if (!bName && n < iMax)
                snprintf(aszLines[n++], TW_PICK_LINE_SIZE, "\t%s", szName);
        }
        if (iRow >= s_inspect.iScroll) {
            if (n < iMax)
                snprintf(aszLines[n++], TW_PICK_LINE_SIZE, "%s\t%.*s", pstrLabel, iLength, pstrText);
            else
                s_inspect.bCut = 1;
        }
        iRow++;
    };
    while (twWorld_NextDataLine(&pAt, &line)) {
        if (!pstrSet || strcmp(line.pstrSet, pstrSet) != 0) {
            pstrSet = line.pstrSet;
            iSet++;
            bFolded = iSet < INSPECT_SETS && s_inspect.aucFolded[iSet];
            snprintf(szName, sizeof(szName), "%c %.100s", bFolded ? '+' : '-', pstrSet);
            if (iRow <= s_inspect.iScroll)
                s_inspect.iMarkedRow = iRow;
            Emit("", szName, (int)strlen(szName), 1);
        }
        if (bFolded)
            continue;
        twWorld_FormatValue(line.pstrValue, line.pstrUnit, iUnits, szValue, sizeof(szValue));
        int aiStart[WRAP_ROWS], aiLength[WRAP_ROWS];
        int iRows = WrapValue(szValue, aiStart, aiLength);
        char szLabel[32];
        snprintf(szLabel, sizeof(szLabel), "  %.28s", line.pstrName);
        for (int r = 0; r < iRows; r++)
            Emit(r ? " " : szLabel, szValue + aiStart[r], aiLength[r], 0);
    }
    twMem_Free(pData);
    s_inspect.iRows = iRow;
    s_inspect.iSets = iSet + 1;
    return n;
}

int twWorld_PickedText(int iElement, int iUnits, char aszLines[TW_PICK_LINES][TW_PICK_LINE_SIZE])
{
    const TwElement* pElement = ElementAt(iElement);
    if (!pElement)
        return 0;
    int n = 0;
    char szValue[TW_PICK_LINE_SIZE];
    snprintf(szValue, sizeof(szValue), "%d / %d", iElement + 1, pWorld->iNumElements);
    Line(aszLines[n++], STR_ELEMENT, szValue);
    TypeName(pElement->iType, szValue, sizeof(szValue));
    Line(aszLines[n++], STR_ELEMENT + 1, szValue);
    // what the source calls it, where the exporter left that beside the model
    const TwElementInfo* pInfo = twWorld_GetElementInfo(iElement);
    for (int f = 0; pInfo && f < TW_ELEMENT_INFO_FIELDS; f++)
        if (pInfo->apstrFields[f][0]) {
            snprintf(szValue, sizeof(szValue), "%.48s", pInfo->apstrFields[f]);
            Line(aszLines[n++], STR_SOURCE_FIELDS + f, szValue);
        }
    const uint8_t* pLayer = twLayers_Find(pElement->iLayer);
    if (pLayer)
        snprintf(szValue, sizeof(szValue), "%.100s", (const char*)pLayer + TW_LAYER_NAME_OFFSET); // within the record
    else
        snprintf(szValue, sizeof(szValue), "%d", pElement->iLayer);
    Line(aszLines[n++], STR_ELEMENT + 2, szValue);
    twCore_FormatThousands((uint32_t)pElement->iNumIndices / 3, szValue);
    Line(aszLines[n++], STR_ELEMENT + 3, szValue);
    // across, along and up, in the units the view page shows
    float fScale = iUnits == 1 ? FEET_PER_METRE : 1.0f;
    float afSize[3];
    for (int i = 0; i < 3; i++)
        afSize[i] = (pElement->vMax[i] - pElement->vMin[i]) * fScale;
    snprintf(szValue, sizeof(szValue), "%.2f x %.2f x %.2f %.8s", afSize[0], afSize[2], afSize[1],
             twStrings_Get(iUnits == 1 ? TW_STR_FEET_SHORT : TW_STR_METRES_SHORT));
    Line(aszLines[n++], STR_ELEMENT + 4, szValue);
    return n + SetLines(iElement, iUnits, aszLines + n, TW_PICK_LINES - n);
}

void twWorld_DrawPickedText(int iElement, int iUnits, int iX, int iY)
{
    char aszLines[TW_PICK_LINES][TW_PICK_LINE_SIZE];
    int iCount = twWorld_PickedText(iElement, iUnits, aszLines);
    if (!iCount)
        return;
    // as many lines as the window holds below the cross; the wheel scrolls the sets and
    // Ctrl+C copies them all
    int iRoom = (iY - 60 - 8) / LINE_STEP;
    if ((iCount > iRoom || s_inspect.bCut) && iRoom > 1) {
        iCount = iCount < iRoom ? iCount : iRoom;
        snprintf(aszLines[iCount - 1], TW_PICK_LINE_SIZE, "\t%s", twStrings_Get(STR_PICK_MORE));
    }
    // below the cross, so that the element itself stays in sight
    int x0 = iX - PANEL_WIDTH / 2, iTop = iY - 60;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(0, 0, 0, 160 / 255.0f);
    twOgl_DrawRect(x0, iTop - iCount * LINE_STEP - 8, PANEL_WIDTH, iCount * LINE_STEP + 8, 0);
    glDisable(GL_BLEND);
    glColor4f(1, 1, 1, 1);
    int bFoldHint = 0;
    for (int i = 0; i < iCount; i++) {
        char* pstrTab = strchr(aszLines[i], '\t');
        if (!pstrTab)
            continue;
        *pstrTab = 0;
        int y = iTop - (i + 1) * LINE_STEP;
        if (!aszLines[i][0]) {
            // a set's name, across the panel in amber; the first says what folds it
            glColor4f(1.0f, 0.75f, 0.3f, 1);
            twOgl_DrawText(0, x0 + 10, y, pstrTab + 1);
            if (!bFoldHint && (pstrTab[1] == '+' || pstrTab[1] == '-')) {
                bFoldHint = 1;
                const char* pstrHint = twStrings_Get(STR_PICK_FOLD);
                glColor4f(0.6f, 0.6f, 0.6f, 1);
                twOgl_DrawText(0, x0 + PANEL_WIDTH - 10 - twOgl_GetTextWidth(0, pstrHint), y, pstrHint);
            }
            glColor4f(1, 1, 1, 1);
            continue;
        }
        twOgl_DrawText(0, x0 + 10, y, aszLines[i]);
        twOgl_DrawText(0, x0 + VALUE_X, y, pstrTab + 1);
    }
}

// ---------------------------------------------------------------------------------------------
// The flat face under the cross, for the measure tool's area and parallel faces
// ---------------------------------------------------------------------------------------------

#define FACE_COS 0.9998f    // triangles within about a degree of the face's normal lie in it...
#define FACE_SLACK 1e-3f    // ... with their corners within a millimetre of its plane
#define FACE_GRID 2e-4f     // corners closer than this are one corner when faces are joined
#define FACE_MAX (1 << 22)  // triangles of one element considered

// A ray meets a triangle at t along d (Moller and Trumbore); 0 where it misses
static int RayMeetsTriangle(const float* p, const float* d, const float* a, const float* b, const float* c,
                            float* pfT)
{
    float e1[3], e2[3], h[3], s[3], q[3];
    twVec_Sub(b, a, e1);
    twVec_Sub(c, a, e2);
    twVec_Cross(d, e2, h);
    float fDet = twVec_Dot(e1, h);
    if (fabsf(fDet) < 1e-12f)
        return 0;
    float f = 1 / fDet;
    twVec_Sub(p, a, s);
    float u = f * twVec_Dot(s, h);
    if (u < 0 || u > 1)
        return 0;
    twVec_Cross(s, e1, q);
    float v = f * twVec_Dot(d, q);
    if (v < 0 || u + v > 1)
        return 0;
    *pfT = f * twVec_Dot(e2, q);
    return *pfT > 0;
}

// A triangle's three corners, or 0 where its indices lie outside the mesh
static int Corners(const TwMesh* pMesh, int i, const float* apv[3])
{
    for (int k = 0; k < 3; k++) {
        uint16_t us = pMesh->pusIndices[i + k];
        if (us >= pMesh->usNumVerts)
            return 0;
        apv[k] = pMesh->pVerts[us].vPos;
    }
    return 1;
}

// Twice the area's vector of a triangle
static void AreaVector(const float* const apv[3], float* pvOut)
{
    float u[3], v[3];
    twVec_Sub(apv[1], apv[0], u);
    twVec_Sub(apv[2], apv[0], v);
    twVec_Cross(u, v, pvOut);
}

static int Root(int32_t* piParent, int i)
{
    while (piParent[i] != i)
        i = piParent[i] = piParent[piParent[i]];
    return i;
}

void twWorld_FreeFace(TwFace* pFace)
{
    twMem_Free(pFace->pfTriangles);
    memset(pFace, 0, sizeof(*pFace));
    pFace->iElement = -1;
}

// The triangles of the element in the plane (n, d), grouped by corners they share; the group
// of the triangle hit gives the face
static int JoinFace(const TwElement* pElement, const float* n, float d, int iHitMesh, int iHitIndex, TwFace* pFace)
{
    int iCount = 0;
    for (int m = 0; m < pElement->iNumMeshes; m++)
        iCount += pElement->pMeshes[m].usNumIndices / 3;
    if (iCount > FACE_MAX) {
        twLogError("twWorld_FaceUnder", "!element : %d triangles, past the %d a face is looked for in\n", iCount,
                   FACE_MAX);
        return 0;
    }
    // the triangles in the plane, by mesh and first index, and their corners on a fine grid
    int32_t* piTriangles = (int32_t*)twMem_Malloc((uint32_t)(iCount ? iCount : 1) * 2 * sizeof(int32_t), "face");
    int32_t* piParent = (int32_t*)twMem_Malloc((uint32_t)(iCount ? iCount : 1) * sizeof(int32_t), "face");
    TwGridCorner* pCorners =
        (TwGridCorner*)twMem_Malloc((uint32_t)(iCount ? iCount : 1) * 3 * sizeof(TwGridCorner), "face");
    if (!piTriangles || !piParent || !pCorners) {
        twLogError("twWorld_FaceUnder", "!twMem_Malloc : %d triangles\n", iCount);
        twMem_Free(piTriangles);
        twMem_Free(piParent);
        twMem_Free(pCorners);
        return 0;
    }
    int iIn = 0, iHit = -1;
    for (int m = 0; m < pElement->iNumMeshes; m++) {
        const TwMesh* pMesh = &pElement->pMeshes[m];
        for (int i = 0; pMesh->pVerts && pMesh->pusIndices && i + 2 < pMesh->usNumIndices; i += 3) {
            const float* apv[3];
            float afArea[3];
            if (!Corners(pMesh, i, apv))
                continue;
            AreaVector(apv, afArea);
            float fLength = twVec_Length(afArea);
            if (fLength < 1e-12f || fabsf(twVec_Dot(afArea, n)) < FACE_COS * fLength)
                continue;
            int bInPlane = 1;
            for (int k = 0; k < 3; k++)
                bInPlane &= fabsf(twVec_Dot(apv[k], n) - d) < FACE_SLACK;
            if (!bInPlane)
                continue;
            if (m == iHitMesh && i == iHitIndex)
                iHit = iIn;
            piTriangles[2 * iIn] = m;
            piTriangles[2 * iIn + 1] = i;
            piParent[iIn] = iIn;
            for (int k = 0; k < 3; k++)
                twWorld_GridCorner(apv[k], FACE_GRID, iIn, &pCorners[3 * iIn + k]);
            iIn++;
        }
    }
    int bFound = iHit >= 0;
    if (bFound) {
        qsort(pCorners, (size_t)iIn * 3, sizeof(TwGridCorner), twWorld_CompareGridCorners);
        for (int i = 1; i < iIn * 3; i++)
            if (!twWorld_CompareGridCorners(&pCorners[i - 1], &pCorners[i]))
                piParent[Root(piParent, pCorners[i - 1].iIndex)] = Root(piParent, pCorners[i].iIndex);
        int iFace = Root(piParent, iHit), iDrawn = 0;
        for (int t = 0; t < iIn; t++)
            iDrawn += Root(piParent, t) == iFace;
        iDrawn = iDrawn < TW_FACE_DRAWN ? iDrawn : TW_FACE_DRAWN;
        pFace->pfTriangles = (float*)twMem_Malloc((uint32_t)iDrawn * 9 * sizeof(float), "face");
        double dArea = 0;
        for (int t = 0; t < iIn; t++) {
            if (Root(piParent, t) != iFace)
                continue;
            const TwMesh* pMesh = &pElement->pMeshes[piTriangles[2 * t]];
            const float* apv[3];
            float afArea[3];
            Corners(pMesh, piTriangles[2 * t + 1], apv);
            AreaVector(apv, afArea);
            dArea += 0.5 * twVec_Length(afArea);
            if (pFace->pfTriangles && pFace->iNumTriangles < iDrawn) {
                for (int k = 0; k < 3; k++)
                    memcpy(pFace->pfTriangles + 9 * pFace->iNumTriangles + 3 * k, apv[k], 3 * sizeof(float));
                pFace->iNumTriangles++;
            }
        }
        pFace->fArea = (float)dArea;
    }
    twMem_Free(piTriangles);
    twMem_Free(piParent);
    twMem_Free(pCorners);
    return bFound;
}

// Where the ray meets a triangle the cut took away there, it goes on
static int HitCutAway(const float* p, const float* d, float t)
{
    float afAt[3] = {p[0] + d[0] * t, p[1] + d[1] * t, p[2] + d[2] * t};
    return twWorld_PointCutAway(afAt);
}

int twWorld_FaceUnder(const TwCamera* pCam, int iX, int iY, TwFace* pFace)
{
    twWorld_FreeFace(pFace);
    int iElement = twWorld_PickElement(pCam, iX, iY);
    if (iElement < 0)
        return 0;
    int aiViewport[4] = {0, 0, twWindow_GetWidth(), twWindow_GetHeight()};
    float afNdc[3] = {2.0f * (iX + 0.5f) / aiViewport[2] - 1, 2.0f * (iY + 0.5f) / aiViewport[3] - 1, -1};
    float afNear[3], afFar[3], afDir[3];
    if (!twCamera_Unproject(pCam, afNdc, afNear))
        return 0;
    afNdc[2] = 1;
    if (!twCamera_Unproject(pCam, afNdc, afFar))
        return 0;
    twVec_Sub(afFar, afNear, afDir);
    // the element's triangle the ray meets first
    const TwElement* pElement = &pWorld->pElements[iElement];
    float fBest = 2;
    int iHitMesh = -1, iHitIndex = -1;
    for (int m = 0; m < pElement->iNumMeshes; m++) {
        const TwMesh* pMesh = &pElement->pMeshes[m];
        for (int i = 0; pMesh->pVerts && pMesh->pusIndices && i + 2 < pMesh->usNumIndices; i += 3) {
            const float* apv[3];
            float t;
            if (Corners(pMesh, i, apv) && RayMeetsTriangle(afNear, afDir, apv[0], apv[1], apv[2], &t) && t < fBest &&
                !HitCutAway(afNear, afDir, t)) {
                fBest = t;
                iHitMesh = m;
                iHitIndex = i;
            }
        }
    }
    if (iHitMesh < 0)
        return 0;
    const float* apv[3];
    Corners(&pElement->pMeshes[iHitMesh], iHitIndex, apv);
    AreaVector(apv, pFace->vNormal);
    twVec_Normalize(pFace->vNormal);
    if (twVec_Dot(pFace->vNormal, afDir) > 0)
        for (float& f : pFace->vNormal)
            f = -f;
    for (int k = 0; k < 3; k++)
        pFace->vPoint[k] = afNear[k] + afDir[k] * fBest;
    pFace->iElement = iElement;
    if (!JoinFace(pElement, pFace->vNormal, twVec_Dot(apv[0], pFace->vNormal), iHitMesh, iHitIndex, pFace)) {
        twWorld_FreeFace(pFace);
        return 0;
    }
    return 1;
}
