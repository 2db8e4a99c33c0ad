// The six-sided sky around the camera: images from the data folder or from the own pack.
#pragma once
#include <stdint.h>

struct TwTexture;

#define TW_SKYBOX_SIDES 6
#define TW_SKYBOX_EXTENT 100.0f // metres from the camera to each side

struct TwSkybox {
    TwTexture* apSides[TW_SKYBOX_SIDES]; // in the order ZN, XP, ZP, XN, YP, YN
    int32_t iNumSides;                   // 6 when usable
};

extern TwSkybox* pSkybox;

int twSkybox_Init(void);
int twSkybox_Load(int bFromPack);
void twSkybox_Draw(const float* pvPos, float fAngle); // around the camera, turned about Y
int twSkybox_Free(void);
