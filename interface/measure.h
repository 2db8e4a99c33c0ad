// The measure tool: the point under the screen's centre read from the depth of the picture
// that was drawn, its distance from the eye, and by the kind chosen with Tab the distance
// between two clicked points, the angle at the second of three, the area of a flat face, or
// the distance between two parallel faces.
#pragma once
#include <stdint.h>

#include "render/render.h"

struct TwCamera;

#define TW_MEASURE_DISTANCE 0
#define TW_MEASURE_ANGLE 1
#define TW_MEASURE_AREA 2
#define TW_MEASURE_FACES 3
#define TW_MEASURE_KINDS 4

struct TwMeasure {
    float vPoint[3];    // under the centre, this frame
    float vStart[3];    // the first point
    float vEnd[3];      // the second point
    int32_t bMeasuring; // the first point is set, the second is open
    int32_t bHasResult; // a first point exists
    float fEyeDistance; // from the eye to vPoint
    float fDistance;    // between the two points; while measuring, to vPoint
    int32_t bSnapped;   // vPoint is a corner or an edge near the cross (Shift)
    int32_t iKind;      // TW_MEASURE_*
    float avAngle[3][3];  // the angle's points: an end, the corner, the other end
    int32_t iAnglePoints; // clicked so far; 3 holds a result
    float fAngle;       // degrees at the corner; while clicking, to vPoint
    int32_t iFaces;     // faces clicked: one for the area, two between faces
    TwFace aFaces[2];   // the clicked faces, their triangles owned
    int32_t bParallel;  // the two faces lie within a degree of parallel
    float fFaceDistance; // between the two faces, along the first's normal
    float vFoot[3];     // the second face's point brought onto the first's plane
    int32_t bNoFace;    // the last click found no face
    int32_t iX, iY;     // the window pixel of the cross, for the faces' pick
    const TwCamera* pCam;
};

extern TwMeasure* pMeasure;

int twMeasure_Init(void);
void twMeasure_Free(void);
void twMeasure_Reset(void);
void twMeasure_Click(void);
void twMeasure_NextKind(void); // Tab; what was clicked starts over
void twMeasure_Pick(const TwCamera* pCam, int iX, int iY); // after the 3D pass
void twMeasure_Snap(const TwCamera* pCam, int iX, int iY); // after the pick, with Shift held
void twMeasure_Draw3D(void);
void twMeasure_DrawPanel(int iX, int iY, int iUnits);
