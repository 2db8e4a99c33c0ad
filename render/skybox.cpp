#include "render/skybox.h"

#include <GL/glew.h>
#include <stdio.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "platform/ogl.h"

TwSkybox* pSkybox = nullptr;

static const char* s_apstrSides[TW_SKYBOX_SIDES] = {"ZN", "XP", "ZP", "XN", "YP", "YN"};

// Opens one side's image: a BMP, else a TGA, from the data folder or the own pack
static FILE* OpenSide(const char* pstrSide, int bFromPack, char* pstrName)
{
    static const char* apstrFormats[2] = {"%s.bmp", "%s.tga"};
    for (const char* pstrFormat : apstrFormats) {
        snprintf(pstrName, 64, pstrFormat, pstrSide);
        FILE* pFile;
        if (bFromPack) {
            pFile = twCore_GetResource(pstrName, nullptr);
        } else {
            char szPath[TW_PATH_SIZE + 64];
            const char* pstrData = twCore_GetDataDir();
            snprintf(szPath, sizeof(szPath), "%sData/Textures/Skybox/%s", pstrData ? pstrData : "", pstrName);
            twLog("twSkybox_Load", "Trying to load '%s'\n", szPath);
            pFile = fopen(szPath, "rb");
        }
        if (pFile)
            return pFile;
    }
    return nullptr;
}

int twSkybox_Init(void)
{
    if (pSkybox) {
        twLogError("twSkybox_Init", "Skybox already initialized\n");
        return 0;
    }
    pSkybox = (TwSkybox*)twMem_Malloc(sizeof(TwSkybox), "pSkybox");
    if (!pSkybox) {
        twLogError("twSkybox_Init", "!malloc : pSkybox\n");
        return 0;
    }
    return 1;
}

int twSkybox_Load(int bFromPack)
{
    const char* pstrTag = "twSkybox_Load";
    if (!pSkybox) {
        twLogError(pstrTag, "Skybox is not initialized\n");
        return 0;
    }
    int iLoaded = 0;
    for (int i = 0; i < TW_SKYBOX_SIDES; i++) {
        char szName[64];
        FILE* pFile = OpenSide(s_apstrSides[i], bFromPack, szName);
        if (!pFile) {
            twLog(pstrTag, "Failed to load '%s'\n", szName);
            continue;
        }
        pSkybox->apSides[i] = twOgl_LoadTexture(szName, pFile, GL_RGB, 1, 0, 2);
        fclose(pFile);
        if (pSkybox->apSides[i])
            iLoaded++;
    }
    if (!iLoaded) {
        twLogError(pstrTag, "None of the skybox images could be loaded\n");
        return 0;
    }
    for (int i = 0; i < TW_SKYBOX_SIDES; i++) {
        if (pSkybox->apSides[i])
            continue;
        pSkybox->apSides[i] = twOgl_GetDefaultTexture();
        if (!pSkybox->apSides[i])
            twLogError(pstrTag, "Failed to assign skybox-side the default texture\n");
        else
            iLoaded++;
    }
    if (iLoaded != TW_SKYBOX_SIDES) {
        twLogError(pstrTag, "Number of defined skybox sides not 6\n");
        return 0;
    }
    pSkybox->iNumSides = TW_SKYBOX_SIDES;
    return 1;
}

void twSkybox_Draw(const float* pvPos, float fAngle)
{
    if (!pSkybox || pSkybox->iNumSides != TW_SKYBOX_SIDES)
        return;
    const float e = TW_SKYBOX_EXTENT;
    glDepthRange(1, 1);
    glPushMatrix();
    glTranslatef(pvPos[0], pvPos[1], pvPos[2]);
    glRotatef(fAngle, 0, 1, 0);
    glColor4f(1, 1, 1, 1);
    glEnable(GL_TEXTURE_2D);
    for (int i = 0; i < TW_SKYBOX_SIDES; i++) {
        glBindTexture(GL_TEXTURE_2D, pSkybox->apSides[i]->hTexture);
        twOgl_DrawFacingSquare(e, e);
        // the frame turns on after each side, so that the same quad makes the next one
        if (i == 3) {
            glRotatef(-90, 0, 1, 0);
            glRotatef(90, 1, 0, 0);
        } else if (i == 4) {
            glRotatef(180, 1, 0, 0);
        } else {
            glRotatef(90, 0, 1, 0);
        }
    }
    glDisable(GL_TEXTURE_2D);
    glPopMatrix();
    glDepthRange(0, 1);
}

int twSkybox_Free(void)
{
    if (!pSkybox)
        return 1;
    for (int i = 0; i < TW_SKYBOX_SIDES; i++)
        if (pSkybox->apSides[i] && pSkybox->apSides[i] != twOgl_GetDefaultTexture())
            twOgl_FreeTexture(pSkybox->apSides[i]);
    twMem_Free(pSkybox);
    pSkybox = nullptr;
    return 1;
}
