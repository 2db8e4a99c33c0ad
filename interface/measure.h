// The measure tool: the point under the screen's centre read from the depth of the picture
// that was drawn, its distance from the eye, and the distance between two clicked points.
#pragma once
#include <stdint.h>

struct TwCamera;

struct TwMeasure {
    float vPoint[3];    // under the centre, this frame
    float vStart[3];    // the first point
    float vEnd[3];      // the second point
    int32_t bMeasuring; // the first point is set, the second is open
    int32_t bHasResult; // a first point exists
    float fEyeDistance; // from the eye to vPoint
    float fDistance;    // between the two points; while measuring, to vPoint
    int32_t bSnapped;   // vPoint is a corner or an edge near the cross (Shift)
};

extern TwMeasure* pMeasure;

int twMeasure_Init(void);
void twMeasure_Free(void);
void twMeasure_Reset(void);
void twMeasure_Click(void);
void twMeasure_Pick(const TwCamera* pCam, int iX, int iY); // after the 3D pass
void twMeasure_Snap(const TwCamera* pCam, int iX, int iY); // after the pick, with Shift held
void twMeasure_Draw3D(void);
void twMeasure_DrawPanel(int iX, int iY, int iUnits);
