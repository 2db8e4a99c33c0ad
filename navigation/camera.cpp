#include "navigation/camera.h"

#include <math.h>
#include <string.h>

#include "engine/log.h"
#include "engine/vector.h"
#include "world/world.h"

TwCamera* pCam = nullptr;
TwCamera* pCam2 = nullptr;
TwCamera* pSunCam = nullptr;

#define HALF_DEG 0.008726f         // half a degree in radians, for the field of view
#define NEAR_FAR_OUT 10.0f         // near plane far from the model, metres
#define NEAR_CLOSE 1.0f            // within 20 m of the model's box
#define NEAR_INSIDE 0.1f           // within 4 m of it
#define MIN_FAR 200.0f
#define ZOOM_OUT 1.25f
#define ZOOM_IN 0.8f
#define PAN_STEP 0.25f             // metres a mouse count

// Column-major 4 x 4 matrices, as GL takes them
static void Identity(float* m)
{
    memset(m, 0, 16 * sizeof(float));
    m[0] = m[5] = m[10] = m[15] = 1;
}


// A rotation about one axis (0 X, 1 Y, 2 Z), as glRotate makes it
static void Rotation(int iAxis, float fDegrees, float* m)
{
    Identity(m);
    float c = cosf(fDegrees * TW_DEG), s = sinf(fDegrees * TW_DEG);
    int a = (iAxis + 1) % 3, b = (iAxis + 2) % 3;
    m[a * 4 + a] = c;
    m[b * 4 + b] = c;
    m[a * 4 + b] = s;
    m[b * 4 + a] = -s;
}

// R = rotation by -roll about Z, by -pitch about X, by -yaw about Y, then the
// translation by -pos: the view of an eye with these angles
static void ViewMatrix(float fPitch, float fYaw, float fRoll, const float* pvPos, float* pOut)
{
    float r[16], m[16], t[16];
    Rotation(2, -fRoll, r);
    Rotation(0, -fPitch, m);
    twMat_Multiply(r, m, r);
    Rotation(1, -fYaw, m);
    twMat_Multiply(r, m, r);
    Identity(t);
    t[12] = -pvPos[0];
    t[13] = -pvPos[1];
    t[14] = -pvPos[2];
    twMat_Multiply(r, t, pOut);
}

// The determinant of the 3 x 3 matrix left when a row and a column are struck out
static float Minor(const float* m, int iRow, int iCol)
{
    float a[9];
    int n = 0;
    for (int c = 0; c < 4; c++)
        for (int r = 0; r < 4 && c != iCol; r++)
            if (r != iRow)
                a[n++] = m[c * 4 + r];
    return a[0] * (a[4] * a[8] - a[7] * a[5]) - a[3] * (a[1] * a[8] - a[7] * a[2]) +
           a[6] * (a[1] * a[5] - a[4] * a[2]);
}

// The inverse by cofactors: its entry at row r, column c is the cofactor of row c, column r
// over the determinant. A singular matrix gives the identity.
static int Invert(const float* m, float* pOut)
{
    float inv[16];
    for (int c = 0; c < 4; c++)
        for (int r = 0; r < 4; r++) {
            float f = Minor(m, c, r);
            inv[c * 4 + r] = (r + c) % 2 ? -f : f;
        }
    float fDet = m[0] * inv[0] + m[1] * inv[4] + m[2] * inv[8] + m[3] * inv[12];
    if (fDet == 0) {
        Identity(pOut);
        return 0;
    }
    for (int i = 0; i < 16; i++)
        pOut[i] = inv[i] / fDet;
    return 1;
}

// The orthographic projection's diagonal, with the scale factors that aren't 0 or 1
static void OrthoProjection(TwCamera* c, float fX, float fY, float fZ)
{
    memset(c->mProjection, 0, sizeof(c->mProjection));
    float afDiag[3] = {fX, fY, fZ};
    for (int i = 0; i < 3; i++) {
        float s = c->vOrthoScale[i];
        c->mProjection[i * 5] = afDiag[i] * (s != 0 && s != 1 ? s : 1);
    }
    c->mProjection[15] = 1;
}

static void FinishMatrices(TwCamera* c, int bFrustum)
{
    twMat_Multiply(c->mProjection, c->mView, c->mViewProj);
    Invert(c->mViewProj, c->mViewProjInverse);
    if (bFrustum)
        twMat_FrustumPlanes(c->mViewProj, c->vFrustum);
}

int twCamera_Init(TwCamera* c)
{
    memset(c, 0, sizeof(TwCamera));
    c->fSpeed = 2.0f;
    c->fFov = 80.0f;
    c->fNear = 0.1f;
    c->fFar = 1600.0f;
    c->fAspect = 1.6f;
    c->fInvAspect = 0.625f;
    c->fMouseSpeed = 0.15f;
    c->vPos[1] = 1.6f;
    c->fSpeedMul = 1.0f;
    c->fRunMul = 2.5f;
    c->fSlowMul = 0.4f;
    c->fFastMul = 40.0f;
    c->fVerticalMul = 1.0f;
    c->fGravity = 9.82f;
    c->fEyeSeparation = 0.07f;
    c->fStandHeight = 1.6f;
    c->fCrouchHeight = 1.0f;
    c->afUnused[0] = 10.0f;
    c->afUnused[1] = 50.0f;
    c->afUnused[2] = 1.0f;
    c->bWalk = 1;
    return 1;
}

int twCamera_SetAspectFromWindow(TwCamera* c, int iWidth, int iHeight)
{
    if (!iWidth || !iHeight) {
        twLog("twCamera_SetAspectFromWindow", "invalid input\n");
        return 0;
    }
    c->fAspect = (float)iWidth / (float)iHeight;
    c->fInvAspect = 1.0f / c->fAspect;
    return 1;
}

int twCamera_LookAt(TwCamera* c, const float* pTarget)
{
    float v[3] = {pTarget[0] - c->vPos[0], pTarget[1] - c->vPos[1], pTarget[2] - c->vPos[2]};
    // a target at the eye has no direction: the camera keeps its own
    if (twVec_Length(v) == 0) {
        twLogError("twCamera_LookAt", "!target at the eye\n");
        return 0;
    }
    twVec_Normalize(v);
    memcpy(c->vDir, v, sizeof(v));
    c->fPitch = asinf(v[1]) * TW_RAD;
    c->fYaw = atan2f(v[0], v[2]) * TW_RAD + 180.0f;
    return 1;
}

void twCamera_MouseLook(TwCamera* c, int iDx, int iDy)
{
    float* pfPitch = c->bTopView ? &c->fOrthoPitch : &c->fPitch;
    float* pfYaw = c->bTopView ? &c->fOrthoYaw : &c->fYaw;
    float fPitchStep = -c->fMouseSpeed * iDy;
    if (c->bInvertMouse)
        fPitchStep = -fPitchStep;
    *pfPitch += fPitchStep;
    *pfYaw += -c->fMouseSpeed * iDx;
    if (*pfPitch > TW_PITCH_LIMIT)
        *pfPitch = TW_PITCH_LIMIT;
    if (*pfPitch < -TW_PITCH_LIMIT)
        *pfPitch = -TW_PITCH_LIMIT;
}

int twCamera_Unproject(const TwCamera* c, const float* pvNdc, float* pvOut)
{
    const float afNdc[4] = {pvNdc[0], pvNdc[1], pvNdc[2], 1};
    float afWorld[4];
    twMat_MulVec4(c->mViewProjInverse, afNdc, afWorld);
    if (afWorld[3] == 0)
        return 0;
    for (int i = 0; i < 3; i++)
        pvOut[i] = afWorld[i] / afWorld[3];
    return 1;
}

void twCamera_DirFromAngles(float fPitch, float fYaw, float* pDirOut)
{
    pDirOut[0] = -sinf(fYaw * TW_DEG);
    pDirOut[1] = tanf(fPitch * TW_DEG);
    pDirOut[2] = -cosf(fYaw * TW_DEG);
    twVec_Normalize(pDirOut);
}

void twCamera_GetUp(const float* pDir, float* pUp)
{
    // in double: the arc cosine of 0 must stay below a right angle, where the tangent flips sign
    double y = pDir[1];
    if (y > -0.1 && y < 0.1)
        y = fabs(y);
    double fYaw = atan2((double)pDir[0], (double)pDir[2]);
    double fPitch = acos(y);
    double v[3] = {-sin(fYaw), tan(fPitch), -cos(fYaw)};
    double f = sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    for (int i = 0; i < 3; i++)
        pUp[i] = (float)(f > 0 ? v[i] / f : v[i]);
}

void twCamera_UpdateMatrices(TwCamera* c, int bFrustum)
{
    if (c->bTopView) {
        float afDelta[3];
        twVec_Sub(c->vOrthoCentre, c->vOrthoEye, afDelta);
        c->fOrthoDist = twVec_Length(afDelta);
        float d = c->fOrthoDist + c->fOrthoDepth;
        OrthoProjection(c, 1.0f / c->fOrthoHalfWidth, 1.0f / (c->fInvAspect * c->fOrthoHalfWidth), -1.0f / d);
        ViewMatrix(c->fOrthoPitch, c->fOrthoYaw, c->fOrthoRoll, c->vOrthoCentre, c->mView);
    } else {
        float t = tanf((c->fFov + c->fFovAdd) * HALF_DEG);
        float* p = c->mProjection;
        memset(p, 0, sizeof(c->mProjection));
        p[0] = 1.0f / t;
        p[5] = 1.0f / (t * c->fInvAspect);
        p[10] = -(c->fFar + c->fNear) / (c->fFar - c->fNear);
        p[11] = -1.0f;
        p[14] = -2.0f * c->fFar * c->fNear / (c->fFar - c->fNear);
        ViewMatrix(c->fPitch, c->fYaw, c->fRoll, c->vPos, c->mView);
        ViewMatrix(c->fPitch, c->fYaw, c->fRoll, c->vEyeLeft, c->mViewLeft);
        ViewMatrix(c->fPitch, c->fYaw, c->fRoll, c->vEyeRight, c->mViewRight);
    }
    FinishMatrices(c, bFrustum);
}

void twCamera_UpdateSunMatrices(TwCamera* c)
{
    memset(c->mProjection, 0, sizeof(c->mProjection));
    c->mProjection[0] = 1.0f / c->fOrthoHalfWidth;
    c->mProjection[5] = 1.0f / c->fOrthoHalfHeight;
    c->mProjection[10] = -1.0f / c->fOrthoDepth;
    c->mProjection[15] = 1.0f;
    ViewMatrix(c->fOrthoPitch, c->fOrthoYaw, c->fOrthoRoll, c->vOrthoCentre, c->mView);
    FinishMatrices(c, 0);
}

int twCamera_BoxInFrustum(const TwCamera* c, const float* pCentre, const float* pHalfSize)
{
    // near, left, right and top only: beyond the far plane or below the view a box passes
    return !twBox_OutsidePlanes(c->vFrustum, 4, pCentre, pHalfSize, 0);
}

void twCamera_TopZoom(TwCamera* c, int iWheel)
{
    float fOld = c->fOrthoHalfWidth;
    if (iWheel < 0) {
        c->fOrthoHalfWidth *= ZOOM_OUT;
    } else if (iWheel > 0) {
        c->fOrthoHalfWidth *= ZOOM_IN;
        if (c->fOrthoHalfWidth < 1.0f)
            c->fOrthoHalfWidth = 0.5f;
    }
    if (fOld != 0)
        c->fOrthoHalfHeight *= c->fOrthoHalfWidth / fOld;
}

void twCamera_TopPan(TwCamera* c, int iDx, int iDy)
{
    float a = (c->fOrthoYaw - 180.0f) * TW_DEG;
    c->vOrthoCentre[0] += sinf(a) * iDy * PAN_STEP;
    c->vOrthoCentre[2] += cosf(a) * iDy * PAN_STEP;
    a = (c->fOrthoYaw - 90.0f) * TW_DEG;
    c->vOrthoCentre[0] += sinf(a) * iDx * PAN_STEP;
    c->vOrthoCentre[2] += cosf(a) * iDx * PAN_STEP;
}

void twCamera_GetView(const TwCamera* c, float* pvPos, float* pvAngles, float* pvTopAngles, float* pvOrthoCentre,
                      float* pfOrthoHalfWidth, int32_t* pbTop)
{
    memcpy(pvPos, c->vPos, sizeof(c->vPos));
    const float afAngles[3] = {c->fPitch, c->fYaw, c->fRoll}, afTop[3] = {c->fOrthoPitch, c->fOrthoYaw, c->fOrthoRoll};
    memcpy(pvAngles, afAngles, sizeof(afAngles));
    memcpy(pvTopAngles, afTop, sizeof(afTop));
    memcpy(pvOrthoCentre, c->vOrthoCentre, sizeof(c->vOrthoCentre));
    *pfOrthoHalfWidth = c->fOrthoHalfWidth;
    *pbTop = c->bTopView;
}

void twCamera_PutView(TwCamera* c, const float* pvPos, const float* pvAngles, const float* pvTopAngles,
                      const float* pvOrthoCentre, float fOrthoHalfWidth, int bTop)
{
    memcpy(c->vPos, pvPos, sizeof(c->vPos));
    c->fPitch = pvAngles[0], c->fYaw = pvAngles[1], c->fRoll = pvAngles[2];
    c->fOrthoPitch = pvTopAngles[0], c->fOrthoYaw = pvTopAngles[1], c->fOrthoRoll = pvTopAngles[2];
    memcpy(c->vOrthoCentre, pvOrthoCentre, sizeof(c->vOrthoCentre));
    c->fOrthoHalfWidth = fOrthoHalfWidth;
    c->bTopView = bTop;
}

void twCamera_CopyPlace(TwCamera* c, const TwCamera* k)
{
    float afAngles[3], afTop[3], afPos[3], afCentre[3], fHalfWidth;
    int32_t bTop;
    twCamera_GetView(k, afPos, afAngles, afTop, afCentre, &fHalfWidth, &bTop);
    twCamera_PutView(c, afPos, afAngles, afTop, afCentre, fHalfWidth, bTop);
    memcpy(c->vPrevPos, k->vPrevPos, sizeof(k->vPrevPos));
    c->fFallSpeed = k->fFallSpeed, c->fGroundContact = k->fGroundContact;
    c->fEyeHeight = k->fEyeHeight, c->fCrouch = k->fCrouch, c->fLastWalkY = k->fLastWalkY;
    c->bWalk = k->bWalk;
    c->fOrthoHalfHeight = k->fOrthoHalfHeight;
    c->fForward = c->fStrafe = c->fVertical = 0;
}

int twWorld_PlaceSunCamera(TwCamera* c)
{
    memcpy(c->vOrthoCentre, pWorld->vBuildingCentre, sizeof(c->vOrthoCentre));
    c->fOrthoDepth = pWorld->fBuildingRadius;
    twCamera_DirFromAngles(c->fOrthoPitch, c->fOrthoYaw, c->vOrthoDir);
    for (int i = 0; i < 3; i++)
        c->vOrthoEyePos[i] = c->vOrthoCentre[i] - c->vOrthoDir[i] * pWorld->fBuildingRadius;
    c->fOrthoD = -twVec_Dot(c->vOrthoEyePos, c->vOrthoDir);
    float afUp[3], afSide[3];
    twCamera_GetUp(c->vOrthoDir, afUp);
    twVec_Cross(c->vOrthoDir, afUp, afSide);
    float fHalfWidth = -999999.0f, fHalfHeight = -999999.0f;
    for (int k = 0; k < TW_BOX_CORNERS; k++) {
        float afOffset[3];
        twBox_Corner(nullptr, pWorld->vBuildingHalfSize, k, afOffset);
        float fSide = fabsf(twVec_Dot(afOffset, afSide)), fUp = fabsf(twVec_Dot(afOffset, afUp));
        if (fSide > fHalfWidth)
            fHalfWidth = fSide;
        if (fUp > fHalfHeight)
            fHalfHeight = fUp;
    }
    c->fOrthoHalfWidth = fHalfWidth;
    c->fOrthoHalfHeight = fHalfHeight;
    c->fOrthoDepth = pWorld->fRadius;
    return 1;
}

void twWorld_SetCameraRange(TwCamera* c, float* pfNear, float* pfFar)
{
    if (!pWorld || !pWorld->bLoaded)
        return;
    float fNear = NEAR_FAR_OUT;
    int bClose = 1, bInside = 1;
    for (int i = 0; i < 3; i++) {
        float fOut = fabsf(c->vPos[i] - pWorld->vCentre[i]) - pWorld->vHalfSize[i];
        if (fOut > 20.0f)
            bClose = 0;
        if (fOut > 4.0f)
            bInside = 0;
    }
    if (bClose)
        fNear = NEAR_CLOSE;
    if (bInside)
        fNear = NEAR_INSIDE;
    float fFar = sqrtf(twVec_DistanceSq(c->vPos, pWorld->vCentre)) + pWorld->fRadius;
    if (fFar < MIN_FAR)
        fFar = MIN_FAR;
    c->fNear = fNear;
    c->fFar = fFar;
    if (pfNear)
        *pfNear = fNear;
    if (pfFar)
        *pfFar = fFar;
}
