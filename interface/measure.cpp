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

#define TAG "twMeasure"
#define FEET_PER_METRE 3.28084f
#define MARKER_SIZE 0.03f   // metres: half the side of a point's marker
#define PANEL_HALF_WIDTH 170
#define STR_DISTANCE 400
#define STR_SECOND_POINT 402
#define STR_TWO_POINTS 403
#define STR_TITLE 404

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
    if (pMeasure)
        twMem_Free(pMeasure);
    pMeasure = nullptr;
}

void twMeasure_Reset(void)
{
    if (pMeasure)
        pMeasure->bMeasuring = 0;
}

void twMeasure_Click(void)
{
    TwMeasure* m = pMeasure;
    if (!m)
        return;
    m->bMeasuring = !m->bMeasuring;
    if (m->bMeasuring) {
        memcpy(m->vStart, m->vPoint, sizeof(m->vStart));
        m->bHasResult = 1;
    } else if (m->bHasResult) {
        memcpy(m->vEnd, m->vPoint, sizeof(m->vEnd));
        m->fDistance = sqrtf(twVec_DistanceSq(m->vStart, m->vEnd));
    }
}

// The inverse of a column-major 4x4 matrix by elimination; 0 when it has none
static int Invert(const float* pm, float* pOut)
{
    double a[4][8];
    for (int r = 0; r < 4; r++)
        for (int c = 0; c < 4; c++) {
            a[r][c] = pm[c * 4 + r];
            a[r][c + 4] = r == c;
        }
    for (int c = 0; c < 4; c++) {
        int iPivot = c;
        for (int r = c + 1; r < 4; r++)
            if (fabs(a[r][c]) > fabs(a[iPivot][c]))
                iPivot = r;
        if (fabs(a[iPivot][c]) < 1e-12)
            return 0;
        for (int k = 0; k < 8; k++) {
            double t = a[c][k];
            a[c][k] = a[iPivot][k];
            a[iPivot][k] = t;
        }
        double fInv = 1.0 / a[c][c];
        for (int k = 0; k < 8; k++)
            a[c][k] *= fInv;
        for (int r = 0; r < 4; r++) {
            if (r == c)
                continue;
            double f = a[r][c];
            for (int k = 0; k < 8; k++)
                a[r][k] -= f * a[c][k];
        }
    }
    for (int r = 0; r < 4; r++)
        for (int c = 0; c < 4; c++)
            pOut[c * 4 + r] = (float)a[r][c + 4];
    return 1;
}

void twMeasure_Pick(const TwCamera* pCam, int iX, int iY)
{
    TwMeasure* m = pMeasure;
    if (!m || !pCam)
        return;
    float fDepth = 1;
    glReadPixels(iX, iY, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &fDepth);
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    // back through the viewport, the projection and the view
    float afMvp[16], afInverse[16];
    for (int c = 0; c < 4; c++)
        for (int r = 0; r < 4; r++) {
            float f = 0;
            for (int k = 0; k < 4; k++)
                f += pCam->mProjection[k * 4 + r] * pCam->mView[c * 4 + k];
            afMvp[c * 4 + r] = f;
        }
    if (!Invert(afMvp, afInverse) || aiViewport[2] <= 0 || aiViewport[3] <= 0)
        return;
    float afNdc[4] = {2.0f * (iX - aiViewport[0]) / aiViewport[2] - 1, 2.0f * (iY - aiViewport[1]) / aiViewport[3] - 1,
                      2 * fDepth - 1, 1};
    float afWorld[4];
    for (int r = 0; r < 4; r++)
        afWorld[r] = afInverse[r] * afNdc[0] + afInverse[4 + r] * afNdc[1] + afInverse[8 + r] * afNdc[2] +
                     afInverse[12 + r] * afNdc[3];
    if (afWorld[3] == 0)
        return;
    for (int i = 0; i < 3; i++)
        m->vPoint[i] = afWorld[i] / afWorld[3];
    m->fEyeDistance = sqrtf(twVec_DistanceSq(pCam->vPos, m->vPoint));
    if (m->bMeasuring)
        m->fDistance = sqrtf(twVec_DistanceSq(m->vStart, m->vPoint));
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

void twMeasure_Draw3D(void)
{
    TwMeasure* m = pMeasure;
    if (!m)
        return;
    if (m->bMeasuring) {
        Marker(m->vStart);
        Line(m->vStart, m->vPoint);
    } else if (m->bHasResult) {
        Marker(m->vStart);
        Marker(m->vEnd);
        Line(m->vStart, m->vEnd);
    }
    Marker(m->vPoint);
    glColor3f(1, 1, 1);
}

static void Length(char* pstrOut, int iSize, float fMetres, int iUnits)
{
    if (iUnits == 1)
        snprintf(pstrOut, iSize, "%.2f ft", fMetres * FEET_PER_METRE);
    else
        snprintf(pstrOut, iSize, "%.2f m", fMetres);
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
    twOgl_DrawRect(x0, iY - 154, iWidth, 74, 0);
    glDisable(GL_BLEND);
    glColor4f(0, 0, 0, 1);
    twOgl_DrawRect(x0, iY - 80, iWidth, 20, 0);
    glColor4f(1, 1, 1, 1);
    char szText[64], szLine[128];
    twOgl_DrawText(0, x0 + 10, iY - 80, twStrings_Get(STR_TITLE));
    Length(szText, sizeof(szText), m->fEyeDistance, iUnits);
    snprintf(szLine, sizeof(szLine), "%s  %s", twStrings_Get(STR_DISTANCE), szText);
    twOgl_DrawText(0, x0 + 10, iY - 118, szLine);
    twOgl_DrawText(0, x0 + 10, iY - 154, twStrings_Get(m->bMeasuring ? STR_SECOND_POINT : STR_TWO_POINTS));
    if (m->bHasResult) {
        Length(szText, sizeof(szText), m->fDistance, iUnits);
        twOgl_DrawText(0, x0 + 10, iY - 102, szText);
    }
}
