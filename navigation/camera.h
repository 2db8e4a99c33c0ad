// A view and everything that moves it: position, angles, walking state, the projection
// and view matrices, the frustum planes, and an orthographic block for the top view and
// the sun. pCam is the walker, pCam2 its copy, pSunCam the sun's. Angles are degrees.
#pragma once
#include <stdint.h>

#define TW_DEG 0.017453f          // radians per degree, everywhere
#define TW_RAD 57.295769f         // degrees per radian
#define TW_PITCH_LIMIT 89.0f

struct TwCamera {
    float fSpeed;                 // metres a second
    float fFov;                   // horizontal field of view
    float fFovAdd;                // added while matrices are built
    float fNear, fFar;
    float fAspect, fInvAspect;
    float fMouseSpeed;            // degrees a mouse count
    float vPos[3];                // eye; vPos, fFallSpeed and fGroundContact stand together
    float fFallSpeed;
    float fGroundContact;
    float vEyeLeft[3], vEyeRight[3];
    float fPitch, fYaw, fRoll;
    float fStep;                  // this frame's step length
    float fSpeedMul;              // this frame's speed factor
    float fRunMul, fSlowMul, fFastMul;
    float vPrevPos[3];
    float vDir[3];                // unit view direction
    float fDirD;                  // minus the dot product of vPos and vDir
    float vRight[3];
    float vMoved[3];
    float vUp[3];
    float fForward, fStrafe;      // movement input, -1 to 1
    float fTurn;
    float fVertical;
    float fVerticalMul;
    float fMoved;
    float fGroundY;               // lowest Y of the model
    float fGravity;               // metres a second squared
    float fRise;
    float vImpulseDir[3];
    float fImpulse;               // seconds left of the impulse
    float vDriftDir[3], fDrift;
    float vSpinAxis[3], fSpin;
    float fEyeSeparation;
    float fEyeHeight;             // eye above the feet, now
    float fStandHeight, fCrouchHeight;
    float fCrouch;                // 0 standing, 1 crouching
    float afUnused[3];
    float vClampCentre[3], vClampHalfSize[3];
    float vOrthoCentre[3];
    float vOrthoEye[3];
    float fOrthoDist;
    float fOrthoDepth;
    float fOrthoHalfWidth, fOrthoHalfHeight;
    float vOrthoEyePos[3];
    float fOrthoPitch, fOrthoYaw, fOrthoRoll;
    float vOrthoDir[3];
    float fOrthoD;
    float vOrthoScale[3];         // 0 or 1: no change
    float mProjection[16], mView[16], mViewLeft[16], mViewRight[16], mViewProj[16], mViewProjInverse[16];
    float mShadow[16];
    float vFrustum[6][4];         // near, left, right, top, bottom, far
    int32_t bInvertMouse;
    int32_t bWalk;                // walking; 0 is flying
    int32_t bTopView;
    int32_t bLevelFlight;
    int32_t bResetPitch;
    int32_t bCrouchKey;
    char szName[16];
    int32_t bSunCamera;           // this is the sun's view
    float fLastWalkY;             // vPos.y at the last walking step, for the braking
};

extern TwCamera* pCam;
extern TwCamera* pCam2;
extern TwCamera* pSunCam;

int twCamera_Init(TwCamera* pCamera);
int twCamera_SetAspectFromWindow(TwCamera* pCamera, int iWidth, int iHeight);
int twCamera_LookAt(TwCamera* pCamera, const float* pTarget);
void twCamera_MouseLook(TwCamera* pCamera, int iDx, int iDy);
void twCamera_DirFromAngles(float fPitch, float fYaw, float* pDirOut); // the one direction formula
void twCamera_GetUp(const float* pDir, float* pUp);
void twCamera_UpdateMatrices(TwCamera* pCamera, int bFrustum);
// a point of the view's clip cube (x, y, z from -1 to 1) back in the world; 0 where the
// matrices can't take it there
int twCamera_Unproject(const TwCamera* pCamera, const float* pvNdc, float* pvOut);
void twCamera_UpdateSunMatrices(TwCamera* pCamera);
int twCamera_BoxInFrustum(const TwCamera* pCamera, const float* pCentre, const float* pHalfSize);
void twCamera_TopZoom(TwCamera* pCamera, int iWheel);
void twCamera_TopPan(TwCamera* pCamera, int iDx, int iDy);
// Where the eye stands and looks, walking and from above, as a kept view holds it: angles
// pitch, yaw and roll, the top view's the same
void twCamera_GetView(const TwCamera* pCamera, float* pvPos, float* pvAngles, float* pvTopAngles,
                      float* pvOrthoCentre, float* pfOrthoHalfWidth, int32_t* pbTop);
void twCamera_PutView(TwCamera* pCamera, const float* pvPos, const float* pvAngles, const float* pvTopAngles,
                      const float* pvOrthoCentre, float fOrthoHalfWidth, int bTop);
// Everything a new model of the same building keeps of the walker: his view, how he stands,
// falls and moves; he stands still there
void twCamera_CopyPlace(TwCamera* pTo, const TwCamera* pFrom);
int twWorld_PlaceSunCamera(TwCamera* pCamera);
// movement.cpp: one frame's motion, and the inputs that drive it
void twCamera_Update(TwCamera* pCamera, int bCollide);
void twCamera_SetForward(TwCamera* pCamera, float fValue);
void twCamera_SetStrafe(TwCamera* pCamera, float fValue);
void twCamera_Vertical(TwCamera* pCamera, int bUp); // rising or sinking ends walking
void twCamera_Jump(TwCamera* pCamera);
void twCamera_StartFlying(TwCamera* pCamera);
void twCamera_StartWalking(TwCamera* pCamera);
// collision.cpp: pushes the walker out of what he touches; pPos points at vPos, which the
// fall speed and the ground contact follow
void twWorld_Collide(float* pPos, float fEyeHeight, float fRadius);
// the developers' view of the physics triangles within 12 metres of a point
void twWorld_DrawCollisionView(const float* pvPos);
void twWorld_SetCameraRange(TwCamera* pCamera, float* pfNear, float* pfFar);
// The floor under a spot that a walker with his feet at fFeetY can be put on: 0 where there
// is none, or the spot is inside a wall
int twWorld_FloorBelow(float x, float z, float fFeetY, float* pfFloorY);
// The walker (fRadius his body) put on that floor under the view's middle line, at his own
// storey and pushed clear of walls: the top view's middle click. 0, and he stays, where
// there is no such floor
int twWorld_PutOnFloorUnderCross(TwCamera* pCamera, float fRadius);
