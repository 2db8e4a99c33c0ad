// Vectors of three floats, 4x4 matrices times vectors, and axis-aligned boxes, for every
// module that measures space.
// The functions are inline: the collision test calls them for every triangle it meets.
// Lengths divide rather than multiply by an inverse, so that a result is the same to the
// bit wherever it is worked out.
#pragma once
#include <math.h>

#define TW_BOX_CORNERS 8
#define TW_EMPTY_BOX_MIN 999999.0f // the empty box: minimum above every maximum

static inline float twVec_Dot(const float* a, const float* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

static inline float twVec_Length(const float* v)
{
    return sqrtf(twVec_Dot(v, v));
}

// pOut may be a or b
static inline void twVec_Cross(const float* a, const float* b, float* pOut)
{
    float x = a[1] * b[2] - a[2] * b[1], y = a[2] * b[0] - a[0] * b[2], z = a[0] * b[1] - a[1] * b[0];
    pOut[0] = x;
    pOut[1] = y;
    pOut[2] = z;
}

// A zero vector stays zero. Returns the length it had.
static inline float twVec_Normalize(float* v)
{
    float f = twVec_Length(v);
    if (f > 0) {
        v[0] /= f;
        v[1] /= f;
        v[2] /= f;
    }
    return f;
}

// A 4x4 matrix in OpenGL's column order times a vector of four; pOut must not be v
static inline void twMat_MulVec4(const float* m, const float* v, float* pOut)
{
    for (int r = 0; r < 4; r++)
        pOut[r] = m[r] * v[0] + m[4 + r] * v[1] + m[8 + r] * v[2] + m[12 + r] * v[3];
}

static inline void twVec_Sub(const float* a, const float* b, float* pOut)
{
    pOut[0] = a[0] - b[0];
    pOut[1] = a[1] - b[1];
    pOut[2] = a[2] - b[2];
}

static inline void twVec_Copy(float* pOut, const float* v)
{
    pOut[0] = v[0];
    pOut[1] = v[1];
    pOut[2] = v[2];
}

// The point of a triangle closest to P: the foot of P on its plane (unit normal, P standing
// fAbove over it), or the nearest point of an edge or a corner when the foot falls outside
static inline void twTri_ClosestPoint(const float* P, const float* a, const float* b, const float* c,
                                      const float* pvNormal, float fAbove, float* pvOut)
{
    float ab[3], ac[3], ap[3];
    twVec_Sub(b, a, ab);
    twVec_Sub(c, a, ac);
    twVec_Sub(P, a, ap);
    float d1 = twVec_Dot(ab, ap), d2 = twVec_Dot(ac, ap);
    // the regions of the corners, the edges and the face
    if (d1 <= 0 && d2 <= 0) {
        twVec_Copy(pvOut, a);
        return;
    }
    float bp[3], cp[3];
    twVec_Sub(P, b, bp);
    twVec_Sub(P, c, cp);
    float d3 = twVec_Dot(ab, bp), d4 = twVec_Dot(ac, bp);
    if (d3 >= 0 && d4 <= d3) {
        twVec_Copy(pvOut, b);
        return;
    }
    float vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        float v = d1 / (d1 - d3);
        for (int i = 0; i < 3; i++)
            pvOut[i] = a[i] + ab[i] * v;
        return;
    }
    float d5 = twVec_Dot(ab, cp), d6 = twVec_Dot(ac, cp);
    if (d6 >= 0 && d5 <= d6) {
        twVec_Copy(pvOut, c);
        return;
    }
    float vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        float w = d2 / (d2 - d6);
        for (int i = 0; i < 3; i++)
            pvOut[i] = a[i] + ac[i] * w;
        return;
    }
    float va = d3 * d6 - d5 * d4;
    if (va <= 0 && d4 - d3 >= 0 && d5 - d6 >= 0) {
        float w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        for (int i = 0; i < 3; i++)
            pvOut[i] = b[i] + (c[i] - b[i]) * w;
        return;
    }
    for (int i = 0; i < 3; i++)
        pvOut[i] = P[i] - pvNormal[i] * fAbove;
}


// a times b, both 4x4 in OpenGL's column order; pOut may be a or b
static inline void twMat_Multiply(const float* a, const float* b, float* pOut)
{
    float r[16];
    for (int c = 0; c < 4; c++)
        for (int row = 0; row < 4; row++)
            r[c * 4 + row] = a[row] * b[c * 4] + a[4 + row] * b[c * 4 + 1] + a[8 + row] * b[c * 4 + 2] +
                             a[12 + row] * b[c * 4 + 3];
    for (int i = 0; i < 16; i++)
        pOut[i] = r[i];
}

// The six planes of the view a projection times view matrix sees: near, left, right, top,
// bottom, far, each a unit normal pointing inwards and its offset
static inline void twMat_FrustumPlanes(const float* m, float (*pafPlanes)[4])
{
    // row i: elements i, i + 4, i + 8, i + 12
    static const int aiRow[6] = {2, 0, 0, 1, 1, 2};
    static const float afSign[6] = {1, 1, -1, -1, 1, -1};
    for (int p = 0; p < 6; p++) {
        float* v = pafPlanes[p];
        for (int k = 0; k < 4; k++)
            v[k] = m[3 + k * 4] + afSign[p] * m[aiRow[p] + k * 4];
        float f = sqrtf(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        if (f > 0)
            for (int k = 0; k < 4; k++)
                v[k] /= f;
    }
}

static inline float twVec_DistanceSq(const float* a, const float* b)
{
    float d[3];
    twVec_Sub(a, b, d);
    return twVec_Dot(d, d);
}

// Corner 0 is - - -, 1 + - -, 2 + + -, 3 - + -, 4 to 7 the same at + Z: the order the
// visibility boxes' line pairs rely on. A null centre gives the corner's offset alone.
static inline void twBox_Corner(const float* pvCentre, const float* pvHalfSize, int iCorner, float* pvOut)
{
    int iLow = iCorner & 3;
    float afSign[3] = {iLow == 1 || iLow == 2 ? 1.0f : -1.0f, iLow >= 2 ? 1.0f : -1.0f, iCorner >= 4 ? 1.0f : -1.0f};
    for (int i = 0; i < 3; i++) {
        float fOffset = afSign[i] > 0 ? pvHalfSize[i] : -pvHalfSize[i];
        pvOut[i] = pvCentre ? pvCentre[i] + fOffset : fOffset;
    }
}

// Boxes in centre form overlap when on every axis their centres lie no further apart than
// their half sizes together; a NaN overlaps nothing
static inline int twBox_Overlap(const float* pvCentreA, const float* pvHalfA, const float* pvCentreB,
                                const float* pvHalfB)
{
    for (int i = 0; i < 3; i++)
        if (!(fabsf(pvCentreA[i] - pvCentreB[i]) <= pvHalfA[i] + pvHalfB[i]))
            return 0;
    return 1;
}

// A box in centre form wholly outside one of the planes (normals pointing in, each with its
// offset): the corner furthest along that plane's normal stands no more than fMargin inside
// it. The furthest corner alone answers for all eight. A NaN box is outside.
static inline int twBox_OutsidePlanes(const float (*pafPlanes)[4], int iNumPlanes, const float* pvCentre,
                                      const float* pvHalfSize, float fMargin)
{
    float afLow[3], afHigh[3];
    for (int i = 0; i < 3; i++) {
        float a = pvCentre[i] + pvHalfSize[i], b = pvCentre[i] + -pvHalfSize[i];
        afLow[i] = a < b ? a : b;
        afHigh[i] = a < b ? b : a;
    }
    for (int p = 0; p < iNumPlanes; p++) {
        const float* n = pafPlanes[p];
        const float afFurthest[3] = {n[0] > 0 ? afHigh[0] : afLow[0], n[1] > 0 ? afHigh[1] : afLow[1],
                                     n[2] > 0 ? afHigh[2] : afLow[2]};
        if (!(twVec_Dot(n, afFurthest) + n[3] + fMargin > 0))
            return 1;
    }
    return 0;
}

// Grows a box in corner form to take in another
static inline void twBox_Grow(float* pvMin, float* pvMax, const float* pvBoxMin, const float* pvBoxMax)
{
    for (int i = 0; i < 3; i++) {
        if (pvBoxMin[i] < pvMin[i])
            pvMin[i] = pvBoxMin[i];
        if (pvBoxMax[i] > pvMax[i])
            pvMax[i] = pvBoxMax[i];
    }
}

// Centre form of a box in corner form; returns its radius, half the diagonal
static inline float twBox_CentreForm(const float* pvMin, const float* pvMax, float* pvCentre, float* pvHalfSize)
{
    for (int i = 0; i < 3; i++) {
        pvCentre[i] = (pvMin[i] + pvMax[i]) * 0.5f;
        pvHalfSize[i] = (pvMax[i] - pvMin[i]) * 0.5f;
    }
    return twVec_Length(pvHalfSize);
}

// The smallest box around two boxes in centre form, from the sentinels of the empty box:
// coordinates beyond them are clamped
static inline void twCore_MergeBoxes(const float* pvCentreA, const float* pvHalfA, const float* pvCentreB,
                                     const float* pvHalfB, float* pvCentreOut, float* pvHalfOut)
{
    for (int i = 0; i < 3; i++) {
        float fLow = TW_EMPTY_BOX_MIN, fHigh = -TW_EMPTY_BOX_MIN;
        float afLow[2] = {pvCentreA[i] - pvHalfA[i], pvCentreB[i] - pvHalfB[i]};
        float afHigh[2] = {pvCentreA[i] + pvHalfA[i], pvCentreB[i] + pvHalfB[i]};
        for (int k = 0; k < 2; k++) {
            if (afLow[k] < fLow)
                fLow = afLow[k];
            if (afHigh[k] > fHigh)
                fHigh = afHigh[k];
        }
        pvCentreOut[i] = (fLow + fHigh) * 0.5f;
        pvHalfOut[i] = (fHigh - fLow) * 0.5f;
    }
}

// The split of both spatial trees. The axis to halve is the longest half extent, alone in
// its component: X, then Y if strictly longer, then Z if strictly longer than the best.
static inline void twBox_LongestAxis(const float* pvHalfSize, float* pvAxisOut)
{
    pvAxisOut[0] = pvHalfSize[0];
    pvAxisOut[1] = pvAxisOut[2] = 0;
    if (pvHalfSize[1] > pvAxisOut[0]) {
        pvAxisOut[0] = 0;
        pvAxisOut[1] = pvHalfSize[1];
    }
    if (pvHalfSize[2] > pvAxisOut[0] + pvAxisOut[1]) {
        pvAxisOut[0] = pvAxisOut[1] = 0;
        pvAxisOut[2] = pvHalfSize[2];
    }
}

// The axis of a split or axis vector: its first non-zero component
static inline int twBox_AxisOf(const float* pvSplit)
{
    return pvSplit[0] != 0 ? 0 : (pvSplit[1] != 0 ? 1 : 2);
}

// Halves a box along an axis vector of twBox_LongestAxis: the split is half that vector;
// the front half lies above the split, the back half below, each of the same size
static inline void twBox_Halve(const float* pvCentre, const float* pvHalfSize, const float* pvAxis, float* pvSplitOut,
                               float* pvFrontCentre, float* pvFrontHalf, float* pvBackCentre, float* pvBackHalf)
{
    for (int i = 0; i < 3; i++) {
        pvSplitOut[i] = pvAxis[i] * 0.5f;
        pvFrontHalf[i] = pvBackHalf[i] = pvHalfSize[i] - pvSplitOut[i];
        pvFrontCentre[i] = pvCentre[i] + pvSplitOut[i];
        pvBackCentre[i] = pvCentre[i] - pvSplitOut[i];
    }
}
