#include "interface/measure.h"

#include <GL/glew.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/vector.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "world/world.h"

#define TAG "twMeasure"
#define FEET_PER_METRE 3.28084f
#define MARKER_SIZE 0.03f   // metres: half the side of a point's marker
#define PANEL_HALF_WIDTH 170
#define SNAP_PIXELS 12          // Shift: a corner or an edge this near the cross on the window takes the point
#define SNAP_DEPTH_SLACK 2e-3f  // depth-buffer steps a seen corner may lie behind what is drawn there
#define STR_DISTANCE 400
#define STR_SECOND_POINT 402
#define STR_TWO_POINTS 403
#define STR_TITLE 404
#define STR_KIND_FIRST 405   // angle, area, between faces; the distance's is STR_DISTANCE
#define STR_ANGLE_STEP 408   // the first end, the corner, the other end
#define STR_FACE_STEP 411    // a flat face, the first face, a face parallel to it
#define STR_NOT_PARALLEL 414
#define STR_NO_FACE 415
#define STR_NEXT_KIND 416
#define PARALLEL_COS 0.99985f  // faces within a degree count as parallel

TwMeasure* pMeasure = nullptr;

int twMeasure_Init(void)
{
    if (pMeasure) {
        twLogError(TAG, "Already initialized\n");
        return 0;
    }
    pMeasure = (TwMeasure*)twMem_Malloc(sizeof(TwMeasure), "pMeasure");
    if (!pMeasure) {
        twLogError(TAG, "!malloc : pMeasure\n");
        return 0;
    }
    return 1;
}

void twMeasure_Free(void)
{
    if (pMeasure) {
        twWorld_FreeFace(&pMeasure->aFaces[0]);
        twWorld_FreeFace(&pMeasure->aFaces[1]);
        twMem_Free(pMeasure);
    }
    pMeasure = nullptr;
}

void twMeasure_Reset(void)
{
    if (pMeasure)
        pMeasure->bMeasuring = 0;
}

// What the faces' kinds clicked starts over; a new model's faces are not the old one's
static void ForgetFaces(TwMeasure* m)
{
    twWorld_FreeFace(&m->aFaces[0]);
    twWorld_FreeFace(&m->aFaces[1]);
    m->iFaces = 0;
}

void twMeasure_NextKind(void)
{
    TwMeasure* m = pMeasure;
    if (!m)
        return;
    m->iKind = (m->iKind + 1) % TW_MEASURE_KINDS;
    m->bMeasuring = 0;
    m->iAnglePoints = 0;
    m->bNoFace = 0;
    ForgetFaces(m);
}

// The angle at b between the lines to a and to c, in degrees
static float Angle(const float* a, const float* b, const float* c)
{
    float u[3], v[3];
    twVec_Sub(a, b, u);
    twVec_Sub(c, b, v);
    float fLengths = twVec_Length(u) * twVec_Length(v);
    if (fLengths < 1e-12f)
        return 0;
    float fCos = twVec_Dot(u, v) / fLengths;
    fCos = fCos < -1 ? -1 : (fCos > 1 ? 1 : fCos);
    return acosf(fCos) * (180.0f / (float)M_PI);
}

// The second face against the first: parallel, their distance along the first's normal
static void Between(TwMeasure* m)
{
    const TwFace* a = &m->aFaces[0];
    const TwFace* b = &m->aFaces[1];
    float afGap[3];
    twVec_Sub(b->vPoint, a->vPoint, afGap);
    float fAlong = twVec_Dot(afGap, a->vNormal);
    m->bParallel = fabsf(twVec_Dot(a->vNormal, b->vNormal)) >= PARALLEL_COS;
    m->fFaceDistance = fabsf(fAlong);
    for (int k = 0; k < 3; k++)
        m->vFoot[k] = b->vPoint[k] - a->vNormal[k] * fAlong;
    // apart from parallel, the angle between the faces
    float fCos = fabsf(twVec_Dot(a->vNormal, b->vNormal));
    m->fAngle = acosf(fCos > 1 ? 1 : fCos) * (180.0f / (float)M_PI);
}

// A click of the faces' kinds: the face under the cross; a third click starts over
static void ClickFace(TwMeasure* m)
{
    int iMax = m->iKind == TW_MEASURE_AREA ? 1 : 2;
    if (m->iFaces >= iMax)
        ForgetFaces(m);
    m->bNoFace = !m->pCam || !twWorld_FaceUnder(m->pCam, m->iX, m->iY, &m->aFaces[m->iFaces]);
    if (m->bNoFace) {
        twLog(TAG, "No face under the cross\n");
        return;
    }
    m->iFaces++;
    if (m->iFaces == 2)
        Between(m);
}

void twMeasure_Click(void)
{
    TwMeasure* m = pMeasure;
    if (!m)
        return;
    if (m->iKind == TW_MEASURE_ANGLE) {
        if (m->iAnglePoints == 3)
            m->iAnglePoints = 0;
        memcpy(m->avAngle[m->iAnglePoints++], m->vPoint, sizeof(m->vPoint));
        if (m->iAnglePoints == 3)
            m->fAngle = Angle(m->avAngle[0], m->avAngle[1], m->avAngle[2]);
        return;
    }
    if (m->iKind != TW_MEASURE_DISTANCE) {
        ClickFace(m);
        return;
    }
    m->bMeasuring = !m->bMeasuring;
    if (m->bMeasuring) {
        memcpy(m->vStart, m->vPoint, sizeof(m->vStart));
        m->bHasResult = 1;
    } else if (m->bHasResult) {
        memcpy(m->vEnd, m->vPoint, sizeof(m->vEnd));
        m->fDistance = sqrtf(twVec_DistanceSq(m->vStart, m->vEnd));
    }
}

// The two distances follow a new point under the cross
static void Distances(const TwCamera* pCam)
{
    TwMeasure* m = pMeasure;
    m->fEyeDistance = sqrtf(twVec_DistanceSq(pCam->vPos, m->vPoint));
    if (m->bMeasuring)
        m->fDistance = sqrtf(twVec_DistanceSq(m->vStart, m->vPoint));
    if (m->iKind == TW_MEASURE_ANGLE && m->iAnglePoints == 2)
        m->fAngle = Angle(m->avAngle[0], m->avAngle[1], m->vPoint);
}

void twMeasure_Pick(const TwCamera* pCam, int iX, int iY)
{
    TwMeasure* m = pMeasure;
    if (!m || !pCam)
        return;
    m->pCam = pCam;
    m->iX = iX;
    m->iY = iY;
    m->bSnapped = 0;
    float fDepth = 1;
    glReadPixels(iX, iY, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &fDepth);
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    if (aiViewport[2] <= 0 || aiViewport[3] <= 0)
        return;
    // back through the viewport and the camera's projection and view
    float afNdc[3] = {2.0f * (iX - aiViewport[0]) / aiViewport[2] - 1, 2.0f * (iY - aiViewport[1]) / aiViewport[3] - 1,
                      2 * fDepth - 1};
    if (!twCamera_Unproject(pCam, afNdc, m->vPoint))
        return;
    Distances(pCam);
}

// The drawn depths about the cross, for telling whether a corner or an edge is seen
struct SnapArea {
    float afDepth[(2 * SNAP_PIXELS + 1) * (2 * SNAP_PIXELS + 1)];
    int iX0, iY0;                 // window pixel of the block's first depth
    const float* pfMvp;           // the camera's projection times its view
    int aiViewport[4];
};

// A world point on the window: its pixel and clip w, and its window depth; 0 behind the eye
static int Project(const SnapArea* a, const float* pv, float* pfX, float* pfY, float* pfW, float* pfDepth)
{
    float afPoint[4] = {pv[0], pv[1], pv[2], 1}, afClip[4];
    twMat_MulVec4(a->pfMvp, afPoint, afClip);
    float x = afClip[0], y = afClip[1], z = afClip[2], w = afClip[3];
    if (w <= 1e-6f)
        return 0;
    *pfX = a->aiViewport[0] + (x / w * 0.5f + 0.5f) * a->aiViewport[2];
    *pfY = a->aiViewport[1] + (y / w * 0.5f + 0.5f) * a->aiViewport[3];
    *pfW = w;
    *pfDepth = z / w * 0.5f + 0.5f;
    return 1;
}

// ... and seen: in the block about the cross, not behind what is drawn there
static int Seen(const SnapArea* a, const float* pv, float* pfX, float* pfY)
{
    float w, fDepth;
    if (!Project(a, pv, pfX, pfY, &w, &fDepth))
        return 0;
    int ix = (int)floorf(*pfX) - a->iX0, iy = (int)floorf(*pfY) - a->iY0, iSide = 2 * SNAP_PIXELS + 1;
    if (ix < 0 || iy < 0 || ix >= iSide || iy >= iSide)
        return 0;
    return fDepth <= a->afDepth[iy * iSide + ix] + SNAP_DEPTH_SLACK;
}

// A candidate nearer the cross than the best so far takes its place
static void Consider(const SnapArea* a, const float* pv, int iX, int iY, float* pfBest, float* pBestPoint, int* piFound)
{
    float x, y;
    if (!Seen(a, pv, &x, &y) || twWorld_PointCutAway(pv))
        return;
    float d = (x - iX) * (x - iX) + (y - iY) * (y - iY);
    if (d < *pfBest) {
        *pfBest = d;
        memcpy(pBestPoint, pv, 3 * sizeof(float));
        *piFound = 1;
    }
}

void twMeasure_Snap(const TwCamera* pCam, int iX, int iY)
{
    TwMeasure* m = pMeasure;
    TwWorld* w = pWorld;
    if (!m || !pCam || !w || !w->bLoaded)
        return;
    static SnapArea s_area;
    SnapArea* a = &s_area;
    a->iX0 = iX - SNAP_PIXELS;
    a->iY0 = iY - SNAP_PIXELS;
    for (float& f : a->afDepth)
        f = 1;
    glGetIntegerv(GL_VIEWPORT, a->aiViewport);
    glReadPixels(a->iX0, a->iY0, 2 * SNAP_PIXELS + 1, 2 * SNAP_PIXELS + 1, GL_DEPTH_COMPONENT, GL_FLOAT, a->afDepth);
    a->pfMvp = pCam->mViewProj;
    // a corner within reach wins over any edge; among each, the nearest on the window
    float fBest = (float)(SNAP_PIXELS * SNAP_PIXELS) + 0.01f, afPoint[3];
    int iFound = 0;
    for (int iPass = 0; iPass < 2 && !iFound; iPass++) {
        for (int g = 0; g < w->iNumElementGroups; g++) {
            const TwElementGroup* pGroup = &w->pElementGroups[g];
            if (!twWorld_GroupSeen(pGroup->uiVisibleFrame))
                continue;
            for (int e = 0; e < pGroup->iNumElements; e++) {
                const TwElement* pElement = pGroup->ppElements[e];
                if (!twWorld_ElementShown(pElement))
                    continue;
                for (int k = 0; k < pElement->iNumMeshes; k++) {
                    const TwMesh* pMesh = &pElement->pMeshes[k];
                    if (iPass == 0) {
                        for (int v = 0; v < pMesh->usNumVerts; v++)
                            Consider(a, pMesh->pVerts[v].vPos, iX, iY, &fBest, afPoint, &iFound);
                        continue;
                    }
                    for (int i = 0; i + 1 < pMesh->usNumEdgeIndices; i += 2) {
                        uint16_t usA = pMesh->pusEdgeIndices[i], usB = pMesh->pusEdgeIndices[i + 1];
                        if (usA >= pMesh->usNumVerts || usB >= pMesh->usNumVerts)
                            continue;
                        const float* pa = pMesh->pVerts[usA].vPos;
                        const float* pb = pMesh->pVerts[usB].vPos;
                        // the window's nearest point of the edge, taken back along the edge
                        // with the perspective's weights
                        float ax, ay, aw, bx, by, bw, fDepth;
                        if (!Project(a, pa, &ax, &ay, &aw, &fDepth) || !Project(a, pb, &bx, &by, &bw, &fDepth))
                            continue;
                        float dx = bx - ax, dy = by - ay, fLen = dx * dx + dy * dy;
                        if (fLen < 1e-6f)
                            continue;
                        float t = ((iX - ax) * dx + (iY - ay) * dy) / fLen;
                        t = t < 0 ? 0 : (t > 1 ? 1 : t);
                        float fT3 = t * aw / ((1 - t) * bw + t * aw);
                        float pv[3];
                        for (int c = 0; c < 3; c++)
                            pv[c] = pa[c] + (pb[c] - pa[c]) * fT3;
                        Consider(a, pv, iX, iY, &fBest, afPoint, &iFound);
                    }
                }
            }
        }
    }
    if (!iFound)
        return;
    memcpy(m->vPoint, afPoint, sizeof(afPoint));
    m->bSnapped = 1;
    Distances(pCam);
}

static void Marker(const float* pv)
{
    const float afHalf[3] = {MARKER_SIZE, MARKER_SIZE, MARKER_SIZE};
    glColor3f(1, 1, 1);
    twOgl_DrawBox(pv, afHalf, 1);
    const float afInner[3] = {MARKER_SIZE * 0.6f, MARKER_SIZE * 0.6f, MARKER_SIZE * 0.6f};
    glColor3f(0, 0, 0);
    twOgl_DrawBox(pv, afInner, 1);
}

// Dashes of white and black between two points, so that the line reads on any ground
static void Line(const float* a, const float* b)
{
    glEnable(GL_LINE_STIPPLE);
    for (int i = 0; i < 2; i++) {
        glLineStipple(4, i ? 0x00ff : 0xff00);
        glColor3f(i ? 0.0f : 1.0f, i ? 0.0f : 1.0f, i ? 0.0f : 1.0f);
        glBegin(GL_LINES);
        glVertex3fv(a);
        glVertex3fv(b);
        glEnd();
    }
    glDisable(GL_LINE_STIPPLE);
}

// A clicked face, glazed in yellow over what is drawn
static void DrawFace(const TwFace* pFace)
{
    if (!pFace->pfTriangles || !pFace->iNumTriangles)
        return;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(-1, -2);
    glDepthMask(GL_FALSE);
    glColor4f(1, 0.85f, 0, 0.35f);
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_FLOAT, 0, pFace->pfTriangles);
    glDrawArrays(GL_TRIANGLES, 0, 3 * pFace->iNumTriangles);
    glDisableClientState(GL_VERTEX_ARRAY);
    glDepthMask(GL_TRUE);
    glDisable(GL_POLYGON_OFFSET_FILL);
    glDisable(GL_BLEND);
}

void twMeasure_Draw3D(void)
{
    TwMeasure* m = pMeasure;
    if (!m)
        return;
    if (m->iKind == TW_MEASURE_ANGLE) {
        for (int i = 0; i < m->iAnglePoints; i++)
            Marker(m->avAngle[i]);
        for (int i = 0; i + 1 < m->iAnglePoints; i++)
            Line(m->avAngle[i], m->avAngle[i + 1]);
        if (m->iAnglePoints > 0 && m->iAnglePoints < 3)
            Line(m->avAngle[m->iAnglePoints - 1], m->vPoint);
    } else if (m->iKind != TW_MEASURE_DISTANCE) {
        for (int i = 0; i < m->iFaces; i++)
            DrawFace(&m->aFaces[i]);
        if (m->iFaces == 2 && m->bParallel) {
            Marker(m->aFaces[1].vPoint);
            Marker(m->vFoot);
            Line(m->aFaces[1].vPoint, m->vFoot);
        }
    } else if (m->bMeasuring) {
        Marker(m->vStart);
        Line(m->vStart, m->vPoint);
    } else if (m->bHasResult) {
        Marker(m->vStart);
        Marker(m->vEnd);
        Line(m->vStart, m->vEnd);
    }
    Marker(m->vPoint);
    if (m->bSnapped) {
        // a snapped point wears a larger yellow box
        const float afSnap[3] = {MARKER_SIZE * 2.5f, MARKER_SIZE * 2.5f, MARKER_SIZE * 2.5f};
        glColor3f(1, 0.85f, 0);
        twOgl_DrawBox(m->vPoint, afSnap, 1);
    }
    glColor3f(1, 1, 1);
}

static void Length(char* pstrOut, int iSize, float fMetres, int iUnits)
{
    if (iUnits == 1)
        snprintf(pstrOut, iSize, "%.2f ft", fMetres * FEET_PER_METRE);
    else
        snprintf(pstrOut, iSize, "%.2f m", fMetres);
}

// The result line of the kind chosen, and the hint of what to click next
static void Result(const TwMeasure* m, int iUnits, char* pstrResult, int iSize, const char** ppstrHint)
{
    pstrResult[0] = 0;
    switch (m->iKind) {
    case TW_MEASURE_ANGLE:
        if (m->iAnglePoints >= 2)
            snprintf(pstrResult, iSize, "%.1f deg", m->fAngle);
        *ppstrHint = twStrings_Get(STR_ANGLE_STEP + (m->iAnglePoints % 3));
        break;
    case TW_MEASURE_AREA:
        if (m->iFaces == 1) {
            if (iUnits == 1)
                snprintf(pstrResult, iSize, "%.2f sq ft", m->aFaces[0].fArea * FEET_PER_METRE * FEET_PER_METRE);
            else
                snprintf(pstrResult, iSize, "%.2f m2", m->aFaces[0].fArea);
        }
        *ppstrHint = twStrings_Get(STR_FACE_STEP);
        break;
    case TW_MEASURE_FACES:
        if (m->iFaces == 2 && m->bParallel)
            Length(pstrResult, iSize, m->fFaceDistance, iUnits);
        else if (m->iFaces == 2)
            snprintf(pstrResult, iSize, "%s: %.1f deg", twStrings_Get(STR_NOT_PARALLEL), m->fAngle);
        *ppstrHint = twStrings_Get(STR_FACE_STEP + 1 + (m->iFaces == 1));
        break;
    default:
        if (m->bHasResult)
            Length(pstrResult, iSize, m->fDistance, iUnits);
        *ppstrHint = twStrings_Get(m->bMeasuring ? STR_SECOND_POINT : STR_TWO_POINTS);
    }
    if (m->bNoFace && (m->iKind == TW_MEASURE_AREA || m->iKind == TW_MEASURE_FACES))
        *ppstrHint = twStrings_Get(STR_NO_FACE);
}

void twMeasure_DrawPanel(int iX, int iY, int iUnits)
{
    TwMeasure* m = pMeasure;
    if (!m)
        return;
    int x0 = iX - PANEL_HALF_WIDTH, iWidth = 2 * PANEL_HALF_WIDTH;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(0, 0, 0, 160 / 255.0f);
    twOgl_DrawRect(x0, iY - 172, iWidth, 92, 0);
    glDisable(GL_BLEND);
    glColor4f(0, 0, 0, 1);
    twOgl_DrawRect(x0, iY - 80, iWidth, 20, 0);
    glColor4f(1, 1, 1, 1);
    char szText[64], szLine[128];
    int iKindName = m->iKind == TW_MEASURE_DISTANCE ? STR_DISTANCE : STR_KIND_FIRST + m->iKind - 1;
    snprintf(szLine, sizeof(szLine), "%s: %s", twStrings_Get(STR_TITLE), twStrings_Get(iKindName));
    twOgl_DrawText(0, x0 + 10, iY - 80, szLine);
    Length(szText, sizeof(szText), m->fEyeDistance, iUnits);
    snprintf(szLine, sizeof(szLine), "%s  %s", twStrings_Get(STR_DISTANCE), szText);
    twOgl_DrawText(0, x0 + 10, iY - 118, szLine);
    const char* pstrHint = "";
    Result(m, iUnits, szText, sizeof(szText), &pstrHint);
    twOgl_DrawText(0, x0 + 10, iY - 102, szText);
    twOgl_DrawText(0, x0 + 10, iY - 154, pstrHint);
    glColor4f(0.7f, 0.7f, 0.7f, 1);
    twOgl_DrawText(0, x0 + 10, iY - 172, twStrings_Get(STR_NEXT_KIND));
    glColor4f(1, 1, 1, 1);
}
