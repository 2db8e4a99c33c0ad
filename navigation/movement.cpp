#include <string.h>

#include "engine/timer.h"
#include "engine/vector.h"
#include "navigation/camera.h"

#define MAX_STEP_SECONDS 0.4f    // a slower frame moves nothing: no tunnelling after a stall
#define JUMP_SPEED 7.7f          // metres a second upwards
#define JUMP_SECONDS 0.5f
#define TAKE_OFF_SPEED 0.3f
#define TAKE_OFF_SECONDS 1.0f
#define BRAKE_GROUND 0.0005f     // braking coefficients: on the ground ...
#define BRAKE_FALLING 0.015f     // ... and falling more than a centimetre a frame
#define FALLING_RISE 0.01f
#define CROUCH_RATE 2.0f         // crouching takes half a second
#define RISE_RATE 4.0f           // rising a quarter
#define ROLL_RATE 20.0f          // degrees a second

void twCamera_Update(TwCamera* c, int bCollide)
{
    float dt = twTimer_GetDelta();
    if (dt == 0 || dt > MAX_STEP_SECONDS) {
        c->fFallSpeed = c->fForward = c->fStrafe = 0;
        return;
    }
    int bWalking = c->bWalk && bCollide;
    c->fEyeHeight = (1 - c->fCrouch) * c->fStandHeight + c->fCrouch * c->fCrouchHeight;
    if (c->bResetPitch)
        c->fPitch = 0;
    twCamera_DirFromAngles(c->fPitch, c->fYaw, c->vDir);
    c->fDirD = -twVec_Dot(c->vPos, c->vDir);
    twCamera_GetUp(c->vDir, c->vUp);
    if (c->vDir[1] < -0.1f)
        twVec_Cross(c->vUp, c->vDir, c->vRight);
    else
        twVec_Cross(c->vDir, c->vUp, c->vRight);
    if (c->fVertical != 0) {
        c->vPos[1] += c->fVertical * c->fVerticalMul * c->fSpeedMul * dt;
        c->fVertical = 0;
    }
    // an impulse fades with its own time left
    for (int i = 0; i < 3; i++)
        c->vPos[i] += c->vImpulseDir[i] * c->fImpulse * dt;
    c->fImpulse = c->fImpulse > 0 ? c->fImpulse - dt : 0;
    if (c->fDrift != 0)
        for (int i = 0; i < 3; i++)
            c->vPos[i] += c->vDriftDir[i] * c->fDrift * dt;
    if (c->fSpin != 0) {
        c->fPitch -= c->vSpinAxis[0] * c->fSpin * dt;
        c->fYaw -= c->vSpinAxis[1] * c->fSpin * dt;
        c->fRoll -= c->vSpinAxis[2] * c->fSpin * dt;
    }
    c->fStep = dt * c->fSpeed * c->fSpeedMul;
    memcpy(c->vPrevPos, c->vPos, sizeof(c->vPos));
    // walking and level flight keep the body's height, whatever the view's tilt
    c->vPos[0] += c->vDir[0] * c->fForward * c->fStep;
    if (!bWalking && !c->bLevelFlight)
        c->vPos[1] += c->vDir[1] * c->fForward * c->fStep;
    c->vPos[2] += c->vDir[2] * c->fForward * c->fStep;
    c->vPos[0] += c->vRight[0] * c->fStrafe * c->fStep;
    c->vPos[2] += c->vRight[2] * c->fStrafe * c->fStep;
    float afMoved[3];
    twVec_Sub(c->vPos, c->vPrevPos, afMoved);
    c->fMoved = twVec_Length(afMoved);
    for (int i = 0; i < 3; i++)
        c->vMoved[i] = c->fMoved > 0 ? afMoved[i] / c->fMoved : 0;
    c->fSpeedMul = 1.0f;
    for (int i = 0; i < 3; i++) {
        c->vEyeLeft[i] = c->vPos[i] - c->vRight[i] * c->fEyeSeparation * 0.5f;
        c->vEyeRight[i] = c->vPos[i] + c->vRight[i] * c->fEyeSeparation * 0.5f;
    }
    if (c->fTurn != 0) {
        c->fRoll += c->fTurn * dt * ROLL_RATE;
        c->fTurn = 0;
    }
    // a walker coasts a little on the ground, and keeps his way in a fall; a flier stops
    if (bWalking) {
        c->fRise = c->fLastWalkY - c->vPos[1];
        c->fLastWalkY = c->vPos[1];
        float k = c->fRise > FALLING_RISE ? BRAKE_FALLING : BRAKE_GROUND;
        float fDamp = 1.0f - dt / k / 100.0f;
        fDamp = fDamp < 0 ? 0 : (fDamp > 1 ? 1 : fDamp);
        c->fForward *= fDamp;
        c->fStrafe *= fDamp;
    } else {
        c->fForward = c->fStrafe = 0;
    }
    if (bWalking && c->fGroundContact == 0) {
        c->fFallSpeed += c->fGravity * dt;
        c->vPos[1] -= dt * c->fFallSpeed;
    } else {
        c->fFallSpeed = 0;
    }
    if (bWalking && c->vPos[1] < c->fGroundY + c->fEyeHeight) {
        c->vPos[1] = c->fGroundY + c->fEyeHeight;
        c->fFallSpeed = 0;
    }
    if (c->vClampHalfSize[0] != 0 || c->vClampHalfSize[1] != 0 || c->vClampHalfSize[2] != 0)
        for (int i = 0; i < 3; i++) {
            float fLow = c->vClampCentre[i] - c->vClampHalfSize[i], fHigh = c->vClampCentre[i] + c->vClampHalfSize[i];
            c->vPos[i] = c->vPos[i] < fLow ? fLow : (c->vPos[i] > fHigh ? fHigh : c->vPos[i]);
        }
    if (c->bCrouchKey && c->fCrouch < 1) {
        c->fCrouch += CROUCH_RATE * dt;
        if (c->fCrouch > 1)
            c->fCrouch = 1;
    } else if (!c->bCrouchKey && c->fCrouch > 0) {
        c->fCrouch -= RISE_RATE * dt;
        if (c->fCrouch < 0)
            c->fCrouch = 0;
    }
    c->fGroundContact = 0;
    c->bResetPitch = c->bLevelFlight = c->bCrouchKey = 0;
}

void twCamera_SetForward(TwCamera* c, float fValue) { c->fForward = fValue; }
void twCamera_SetStrafe(TwCamera* c, float fValue) { c->fStrafe = fValue; }

void twCamera_Vertical(TwCamera* c, int bUp)
{
    c->fVertical = bUp ? 1.0f : -1.0f;
    c->bWalk = 0;
}

void twCamera_Jump(TwCamera* c)
{
    if (!c->bWalk)
        return;
    c->vImpulseDir[0] = 0;
    c->vImpulseDir[1] = JUMP_SPEED;
    c->vImpulseDir[2] = 0;
    c->fImpulse = JUMP_SECONDS;
}

void twCamera_StartFlying(TwCamera* c)
{
    c->vImpulseDir[0] = 0;
    c->vImpulseDir[1] = TAKE_OFF_SPEED;
    c->vImpulseDir[2] = 0;
    c->fImpulse = TAKE_OFF_SECONDS;
    c->bWalk = 0;
}

void twCamera_StartWalking(TwCamera* c)
{
    c->bWalk = 1;
}
