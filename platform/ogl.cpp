#include "platform/ogl.h"

#include <GL/glew.h>
#include <GL/glxew.h>
#include <SDL2/SDL.h>
#include <math.h>
#include <string.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"

TwOgl* pOgl = nullptr;

#define PROGRAM_ERROR_SIZE 2048

// the shared cube: eight corners, six quads, twelve edges
static const float s_afCorners[8][3] = {{-1, -1, 1}, {1, -1, 1}, {1, -1, -1}, {-1, -1, -1},
                                        {-1, 1, 1},  {1, 1, 1},  {1, 1, -1},  {-1, 1, -1}};
static const int s_aiFaces[6][4] = {{4, 0, 1, 5}, {5, 1, 2, 6}, {6, 2, 3, 7}, {7, 3, 0, 4}, {7, 4, 5, 6}, {1, 0, 3, 2}};
static const int s_aiEdges[12][2] = {{0, 1}, {1, 5}, {5, 4}, {1, 2}, {2, 6}, {6, 5},
                                     {2, 3}, {3, 7}, {7, 6}, {3, 0}, {0, 4}, {4, 7}};

static const struct {
    int iEnum;
    const char* pstrName;
} s_aFormatNames[] = {
    {GL_DEPTH_COMPONENT, "GL_DEPTH_COMPONENT"}, {GL_RED, "GL_RED"}, {GL_GREEN, "GL_GREEN"}, {GL_BLUE, "GL_BLUE"},
    {GL_ALPHA, "GL_ALPHA"}, {GL_RGB, "GL_RGB"}, {GL_RGBA, "GL_RGBA"}, {GL_LUMINANCE, "GL_LUMINANCE"},
    {GL_LUMINANCE_ALPHA, "GL_LUMINANCE_ALPHA"}, {GL_R3_G3_B2, "GL_R3_G3_B2"}, {GL_ALPHA4, "GL_ALPHA4"},
    {GL_ALPHA8, "GL_ALPHA8"}, {GL_ALPHA12, "GL_ALPHA12"}, {GL_ALPHA16, "GL_ALPHA16"},
    {GL_LUMINANCE4, "GL_LUMINANCE4"}, {GL_LUMINANCE8, "GL_LUMINANCE8"}, {GL_LUMINANCE12, "GL_LUMINANCE12"},
    {GL_LUMINANCE16, "GL_LUMINANCE16"}, {GL_LUMINANCE4_ALPHA4, "GL_LUMINANCE4_ALPHA4"},
    {GL_LUMINANCE6_ALPHA2, "GL_LUMINANCE6_ALPHA2"}, {GL_LUMINANCE8_ALPHA8, "GL_LUMINANCE8_ALPHA8"},
    {GL_LUMINANCE12_ALPHA4, "GL_LUMINANCE12_ALPHA4"}, {GL_LUMINANCE12_ALPHA12, "GL_LUMINANCE12_ALPHA12"},
    {GL_LUMINANCE16_ALPHA16, "GL_LUMINANCE16_ALPHA16"}, {GL_INTENSITY, "GL_INTENSITY"},
    {GL_INTENSITY4, "GL_INTENSITY4"}, {GL_INTENSITY8, "GL_INTENSITY8"}, {GL_INTENSITY12, "GL_INTENSITY12"},
    {GL_INTENSITY16, "GL_INTENSITY16"}, {GL_RGB4, "GL_RGB4"}, {GL_RGB5, "GL_RGB5"}, {GL_RGB8, "GL_RGB8"},
    {GL_RGB10, "GL_RGB10"}, {GL_RGB12, "GL_RGB12"}, {GL_RGB16, "GL_RGB16"}, {GL_RGBA2, "GL_RGBA2"},
    {GL_RGBA4, "GL_RGBA4"}, {GL_RGB5_A1, "GL_RGB5_A1"}, {GL_RGBA8, "GL_RGBA8"}, {GL_RGB10_A2, "GL_RGB10_A2"},
    {GL_RGBA12, "GL_RGBA12"}, {GL_RGBA16, "GL_RGBA16"}, {GL_DEPTH_COMPONENT16, "GL_DEPTH_COMPONENT16"},
    {GL_DEPTH_COMPONENT24, "GL_DEPTH_COMPONENT24"}, {GL_DEPTH_COMPONENT32, "GL_DEPTH_COMPONENT32"},
    {GL_COMPRESSED_RGB_S3TC_DXT1_EXT, "GL_COMPRESSED_RGB_S3TC_DXT1_EXT"},
    {GL_COMPRESSED_RGBA_S3TC_DXT1_EXT, "GL_COMPRESSED_RGBA_S3TC_DXT1_EXT"},
    {GL_COMPRESSED_RGBA_S3TC_DXT3_EXT, "GL_COMPRESSED_RGBA_S3TC_DXT3_EXT"},
    {GL_COMPRESSED_RGBA_S3TC_DXT5_EXT, "GL_COMPRESSED_RGBA_S3TC_DXT5_EXT"},
    {GL_COMPRESSED_ALPHA_ARB, "GL_COMPRESSED_ALPHA_ARB"}, {GL_COMPRESSED_LUMINANCE_ARB, "GL_COMPRESSED_LUMINANCE_ARB"},
    {GL_COMPRESSED_LUMINANCE_ALPHA_ARB, "GL_COMPRESSED_LUMINANCE_ALPHA_ARB"},
    {GL_COMPRESSED_INTENSITY_ARB, "GL_COMPRESSED_INTENSITY_ARB"}, {GL_COMPRESSED_RGB_ARB, "GL_COMPRESSED_RGB_ARB"},
    {GL_COMPRESSED_RGBA_ARB, "GL_COMPRESSED_RGBA_ARB"}, {GL_RGBA32F_ARB, "GL_RGBA32F_ARB"},
    {GL_RGB32F_ARB, "GL_RGB32F_ARB"}, {GL_ALPHA32F_ARB, "GL_ALPHA32F_ARB"},
    {GL_INTENSITY32F_ARB, "GL_INTENSITY32F_ARB"}, {GL_LUMINANCE32F_ARB, "GL_LUMINANCE32F_ARB"},
    {GL_LUMINANCE_ALPHA32F_ARB, "GL_LUMINANCE_ALPHA32F_ARB"}, {GL_RGBA16F_ARB, "GL_RGBA16F_ARB"},
    {GL_RGB16F_ARB, "GL_RGB16F_ARB"}, {GL_ALPHA16F_ARB, "GL_ALPHA16F_ARB"},
    {GL_INTENSITY16F_ARB, "GL_INTENSITY16F_ARB"}, {GL_LUMINANCE16F_ARB, "GL_LUMINANCE16F_ARB"},
    {GL_LUMINANCE_ALPHA16F_ARB, "GL_LUMINANCE_ALPHA16F_ARB"}, {GL_TEXTURE_RED_TYPE_ARB, "GL_TEXTURE_RED_TYPE_ARB"},
    {GL_TEXTURE_GREEN_TYPE_ARB, "GL_TEXTURE_GREEN_TYPE_ARB"}, {GL_TEXTURE_BLUE_TYPE_ARB, "GL_TEXTURE_BLUE_TYPE_ARB"},
    {GL_TEXTURE_ALPHA_TYPE_ARB, "GL_TEXTURE_ALPHA_TYPE_ARB"},
    {GL_TEXTURE_LUMINANCE_TYPE_ARB, "GL_TEXTURE_LUMINANCE_TYPE_ARB"},
    {GL_TEXTURE_INTENSITY_TYPE_ARB, "GL_TEXTURE_INTENSITY_TYPE_ARB"},
    {GL_TEXTURE_DEPTH_TYPE_ARB, "GL_TEXTURE_DEPTH_TYPE_ARB"}, {GL_UNSIGNED_NORMALIZED_ARB, "GL_UNSIGNED_NORMALIZED_ARB"},
};

static const char* YesNo(int bFlag)
{
    return bFlag ? "Yes" : "No";
}

// Compiles one ARB program; a syntax error is reported with its position and text.
static int CreateProgram(GLenum eTarget, const char* pstrText, int iLength, uint32_t* phProgram,
                         const char* pstrTag)
{
    // errors left over from earlier calls must not be taken for this program's
    for (int i = 0; i < 16 && glGetError() != GL_NO_ERROR; i++) {
    }
    glGenProgramsARB(1, phProgram);
    glBindProgramARB(eTarget, *phProgram);
    glProgramStringARB(eTarget, GL_PROGRAM_FORMAT_ASCII_ARB, iLength, pstrText);
    if (glGetError() == GL_INVALID_OPERATION) {
        GLint iPos = 0;
        glGetIntegerv(GL_PROGRAM_ERROR_POSITION_ARB, &iPos);
        const char* pstrError = (const char*)glGetString(GL_PROGRAM_ERROR_STRING_ARB);
        char szError[PROGRAM_ERROR_SIZE];
        snprintf(szError, sizeof(szError), "Error at position %d:\n%s\n", (int)iPos, pstrError ? pstrError : "");
        twLogError(pstrTag, "%s", szError);
        twLogError(pstrTag, "%s", szError);
        return 0;
    }
    glBindProgramARB(eTarget, 0);
    return 1;
}

int twOgl_Init(int iWidth, int iHeight, uint32_t uiVideoMemory)
{
    const char* pstrTag = "twOgl_Init";
    pOgl = (TwOgl*)twMem_Malloc(sizeof(TwOgl), "pOgl");
    if (!pOgl) {
        twLogError(pstrTag, "!malloc : pOgl\n");
        return 0;
    }
    pOgl->iWidth = iWidth;
    pOgl->iHeight = iHeight;
    pOgl->iTextMaxWidth = 200;
    pOgl->uiVideoMemory = uiVideoMemory;
    twCore_FormatThousands(0, pOgl->szTextureBytes);
    if (!twOgl_InitStates()) {
        twLogError(pstrTag, "!twOgl_InitStates\n");
        return 0;
    }
    if (!twOgl_InitExtensions()) {
        twLogError(pstrTag, "!twOgl_InitExtensions\n");
        return 0;
    }
    if (!twOgl_CreateDefaultTexture()) {
        twLogError(pstrTag, "!twOgl_CreateDefaultTexture\n");
        return 0;
    }
    if (!twOgl_CreateWhiteTexture()) {
        twLogError(pstrTag, "!twOgl_CreateWhiteTexture\n");
        return 0;
    }
    if (!twOgl_CreateSimpleGeometry()) {
        twLogError(pstrTag, "!twOgl_CreateSimpleGeometry\n");
        return 0;
    }
    if (!twOgl_CreateNormalizationCubeTexture()) {
        twLogError(pstrTag, "!twOgl_CreateNormalizationCubeMap\n");
        return 0;
    }
    return 1;
}

int twOgl_Free(void)
{
    if (!pOgl)
        return 0;
    // black in both buffers, so that nothing of the last frame flashes during the exit
    glClearColor(0, 0, 0, 0);
    glDrawBuffer(GL_FRONT);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawBuffer(GL_BACK);
    glClear(GL_COLOR_BUFFER_BIT);
    twOgl_FreeFonts();
    if (pOgl->pDefaultTexture)
        twMem_Free(pOgl->pDefaultTexture);
    if (pOgl->pWhiteTexture)
        twMem_Free(pOgl->pWhiteTexture);
    twMem_Free(pOgl);
    pOgl = nullptr;
    return 1;
}

int twOgl_InitStates(void)
{
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glDepthRange(0, 1);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
    glShadeModel(GL_SMOOTH);
    glDisable(GL_AUTO_NORMAL);
    glDisable(GL_NORMALIZE);
    glDisable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glPolygonOffset(1, 1);
    glClearColor(0, 0, 0, 0);
    glClearAccum(0, 0, 0, 0);
    glLineWidth(1);
    glFrontFace(GL_CCW);
    glDrawBuffer(GL_BACK);
    glReadBuffer(GL_BACK);
    // image rows are tightly packed in memory: GL must not read or write padding behind them
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glViewport(0, 0, pOgl->iWidth, pOgl->iHeight);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    return 1;
}

int twOgl_InitExtensions(void)
{
    const char* pstrTag = "twOgl_InitExtensions";
    GLenum eErr = glewInit();
    // GLEW reports a missing GLX display on some platforms even though GL itself is fine
    if (eErr != GLEW_OK && eErr != GLEW_ERROR_NO_GLX_DISPLAY) {
        twLogError(pstrTag, "!glewInit : %s\n", (const char*)glewGetErrorString(eErr));
        return 0;
    }
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &pOgl->iMaxTextureSize);
    glGetIntegerv(GL_MAX_3D_TEXTURE_SIZE, &pOgl->iMax3dTextureSize);
    glGetIntegerv(GL_MAX_TEXTURE_UNITS, &pOgl->iMaxTextureUnits);
    twLog(pstrTag, "Renderer = %s\n", (const char*)glGetString(GL_RENDERER));
    twLog(pstrTag, "Vendor = %s\n", (const char*)glGetString(GL_VENDOR));
    twLog(pstrTag, "Driver = %s\n", (const char*)glGetString(GL_VERSION));
    twLog(pstrTag, "Maximum supported texture size = %d\n", pOgl->iMaxTextureSize);
    twLog(pstrTag, "Maximum supported 3d texture size = %d\n", pOgl->iMax3dTextureSize);
    twLog(pstrTag, "Maximum number of texture units = %d\n", pOgl->iMaxTextureUnits);
    twLog(pstrTag, "Opengl 1.2 support = %s\n", YesNo(GLEW_VERSION_1_2));
    twLog(pstrTag, "Opengl 1.3 support = %s\n", YesNo(GLEW_VERSION_1_3));
    twLog(pstrTag, "Opengl 1.4 support = %s\n", YesNo(GLEW_VERSION_1_4));
    twLog(pstrTag, "Opengl 1.5 support = %s\n", YesNo(GLEW_VERSION_1_5));
    twLog(pstrTag, "Opengl 2.0 support = %s\n", YesNo(GLEW_VERSION_2_0));
    twLog(pstrTag, "Opengl 2.1 support = %s\n", YesNo(GLEW_VERSION_2_1));
    twLog(pstrTag, "ARB_multitexture = %s\n", YesNo(GLEW_ARB_multitexture));
    twLog(pstrTag, "ARB_texture_compression = %s\n", YesNo(GLEW_ARB_texture_compression));
    twLog(pstrTag, "ARB_texture_env_dot3 = %s\n", YesNo(GLEW_ARB_texture_env_dot3));
    twLog(pstrTag, "ARB_texture_cube_map = %s\n", YesNo(GLEW_ARB_texture_cube_map));
    twLog(pstrTag, "ARB_vertex_program = %s\n", YesNo(GLEW_ARB_vertex_program));
    twLog(pstrTag, "ARB_occlusion_query  = %s\n", YesNo(GLEW_ARB_occlusion_query));
    twLog(pstrTag, "ARB_vertex_buffer_object = %s\n", YesNo(GLEW_ARB_vertex_buffer_object));
    twLog(pstrTag, "ARB_depth_texture = %s\n", YesNo(GLEW_ARB_depth_texture));
    twLog(pstrTag, "ARB_shadow = %s\n", YesNo(GLEW_ARB_shadow));
    twLog(pstrTag, "ARB_shadow_ambient = %s\n", YesNo(GLEW_ARB_shadow_ambient));
    twLog(pstrTag, "ARB_shading_language_100 = %s\n", YesNo(GLEW_ARB_shading_language_100));
    twLog(pstrTag, "ARB_fragment_program = %s\n", YesNo(GLEW_ARB_fragment_program));
    twLog(pstrTag, "ARB_fragment_pr_shadow = %s\n", YesNo(GLEW_ARB_fragment_program_shadow));
    twLog(pstrTag, "ARB_texture_cube_map = %s\n", YesNo(GLEW_ARB_texture_cube_map));
    twLog(pstrTag, "ARB_color_buffer_float = %s\n", YesNo(GLEW_ARB_color_buffer_float));
    twLog(pstrTag, "ARB_texture_float = %s\n", YesNo(GLEW_ARB_texture_float));
    twLog(pstrTag, "ATI_texture_float = %s\n", YesNo(GLEW_ATI_texture_float));
    twLog(pstrTag, "EXT_texture_compression_s3tc = %s\n", YesNo(GLEW_EXT_texture_compression_s3tc));
    twLog(pstrTag, "EXT_framebuffer_object = %s\n", YesNo(GLEW_EXT_framebuffer_object));
    twLog(pstrTag, "EXT_depth_bounds_test = %s\n", YesNo(GLEW_EXT_depth_bounds_test));
    twLog(pstrTag, "NV_vertex_array_range = %s\n", YesNo(GLEW_NV_vertex_array_range));
    twLog(pstrTag, "NV_vertex_array_range2 = %s\n", YesNo(GLEW_NV_vertex_array_range2));
    // render textures are a Windows pixel-buffer feature: no counterpart here
    twLog(pstrTag, "ARB_render_texture = %s\n", YesNo(0));
    twLog(pstrTag, "WGL_EXT_swap_control = %s\n",
          YesNo(GLXEW_EXT_swap_control || GLXEW_MESA_swap_control || GLXEW_SGI_swap_control));
    return 1;
}

int twOgl_CreateSimpleGeometry(void)
{
    pOgl->hBoxFaces = glGenLists(1);
    glNewList(pOgl->hBoxFaces, GL_COMPILE);
    glBegin(GL_QUADS);
    for (const auto& face : s_aiFaces)
        for (int i : face)
            glVertex3fv(s_afCorners[i]);
    glEnd();
    glEndList();
    pOgl->hBoxLines = glGenLists(1);
    glNewList(pOgl->hBoxLines, GL_COMPILE);
    glBegin(GL_LINES);
    for (const auto& edge : s_aiEdges) {
        glVertex3fv(s_afCorners[edge[0]]);
        glVertex3fv(s_afCorners[edge[1]]);
    }
    glEnd();
    glEndList();
    return 1;
}

int twOgl_CreateNormalizationCubeTexture(void)
{
    const int iFaceBytes = TW_CUBE_FACE_SIZE * TW_CUBE_FACE_SIZE * 3;
    uint8_t* pucData = (uint8_t*)twMem_GetTempBuffer(iFaceBytes, 0);
    if (!pucData) {
        twLogError("twOgl_CreateNormalizationCubeTexture", "!malloc : pCubemapData\n");
        return 0;
    }
    glGenTextures(1, &pOgl->hNormalizationCube);
    glBindTexture(GL_TEXTURE_CUBE_MAP_ARB, pOgl->hNormalizationCube);
    glTexParameteri(GL_TEXTURE_CUBE_MAP_ARB, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_CUBE_MAP_ARB, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_CUBE_MAP_ARB, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_CUBE_MAP_ARB, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    const float fHalf = TW_CUBE_FACE_SIZE / 2;
    for (int iFace = 0; iFace < 6; iFace++) {
        uint8_t* p = pucData;
        for (int iRow = 0; iRow < TW_CUBE_FACE_SIZE; iRow++)
            for (int iCol = 0; iCol < TW_CUBE_FACE_SIZE; iCol++) {
                float s = iCol + 0.5f - fHalf, t = iRow + 0.5f - fHalf;
                float v[3];
                switch (iFace) {
                case 0: v[0] = fHalf; v[1] = -t; v[2] = -s; break;
                case 1: v[0] = -fHalf; v[1] = -t; v[2] = s; break;
                case 2: v[0] = s; v[1] = fHalf; v[2] = t; break;
                case 3: v[0] = s; v[1] = -fHalf; v[2] = -t; break;
                case 4: v[0] = s; v[1] = -t; v[2] = fHalf; break;
                default: v[0] = -s; v[1] = -t; v[2] = -fHalf; break;
                }
                twVec_Normalize(v);
                for (int k = 0; k < 3; k++)
                    *p++ = (uint8_t)(int)(127.0f * v[k] + 127.0f);
            }
        glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X_ARB + iFace, 0, GL_RGB8, TW_CUBE_FACE_SIZE, TW_CUBE_FACE_SIZE, 0,
                     GL_RGB, GL_UNSIGNED_BYTE, pucData);
    }
    glBindTexture(GL_TEXTURE_CUBE_MAP_ARB, 0);
    return 1;
}

int twOgl_SetSwapInterval(int iInterval)
{
    SDL_GL_SetSwapInterval(iInterval);
    if (pOgl)
        pOgl->iSwapInterval = iInterval;
    return 1;
}

void twOgl_SetTextMaxWidth(int iWidth)
{
    if (pOgl)
        pOgl->iTextMaxWidth = iWidth;
}

int twOgl_HasFbo(void) { return GLEW_EXT_framebuffer_object ? 1 : 0; }
int twOgl_HasNpot(void) { return GLEW_ARB_texture_non_power_of_two ? 1 : 0; }
int twOgl_HasFragmentPrograms(void) { return GLEW_ARB_fragment_program ? 1 : 0; }
int twOgl_HasVertexPrograms(void) { return GLEW_ARB_vertex_program ? 1 : 0; }
int twOgl_HasShadow(void) { return GLEW_ARB_shadow ? 1 : 0; }
int twOgl_HasVbo(void) { return GLEW_ARB_vertex_buffer_object ? 1 : 0; }
TwTexture* twOgl_GetDefaultTexture(void) { return pOgl ? pOgl->pDefaultTexture : nullptr; }
TwTexture* twOgl_GetWhiteTexture(void) { return pOgl ? pOgl->pWhiteTexture : nullptr; }
int twOgl_GetMaxTextureSize(void) { return pOgl ? pOgl->iMaxTextureSize : 0; }
uint32_t twOgl_GetNormalizationCube(void) { return pOgl ? pOgl->hNormalizationCube : 0; }
const char* twOgl_GetTextureMemoryText(void) { return pOgl ? pOgl->szTextureBytes : ""; }

void twOgl_AddTextureMemory(int iBytes)
{
    if (!pOgl)
        return;
    pOgl->uiTextureBytes += (uint32_t)iBytes;
    twCore_FormatThousands(pOgl->uiTextureBytes, pOgl->szTextureBytes);
}

const char* twOgl_GetFormatName(int iEnum)
{
    static char szUnowned[256];
    char* pstrOut = pOgl ? pOgl->szFormatName : szUnowned;
    for (const auto& format : s_aFormatNames)
        if (format.iEnum == iEnum) {
            snprintf(pstrOut, 256, "%s", format.pstrName);
            return pstrOut;
        }
    snprintf(pstrOut, 256, "0x%x", iEnum);
    return pstrOut;
}

int twOgl_CreateVertexProgram(const char* pstrText, int iLength, uint32_t* phProgram)
{
    return CreateProgram(GL_VERTEX_PROGRAM_ARB, pstrText, iLength, phProgram, "twOgl_CreateVertexProgram");
}

int twOgl_CreateFragmentProgram(const char* pstrText, int iLength, uint32_t* phProgram)
{
    return CreateProgram(GL_FRAGMENT_PROGRAM_ARB, pstrText, iLength, phProgram, "twOgl_CreateFragmentProgram");
}

uint32_t twOgl_CreateVbo(int iUnused, int bIndices, int iNumBytes, const void* pData)
{
    (void)iUnused;
    if (!GLEW_ARB_vertex_buffer_object) {
        twLogError("twOgl_CreateVbo", "!Vbo not supported\n");
        return 0;
    }
    GLenum eTarget = bIndices ? GL_ELEMENT_ARRAY_BUFFER_ARB : GL_ARRAY_BUFFER_ARB;
    GLuint hVbo = 0;
    glGenBuffersARB(1, &hVbo);
    glBindBufferARB(eTarget, hVbo);
    glBufferDataARB(eTarget, iNumBytes, pData, GL_STATIC_DRAW_ARB);
    GLint iSize = 0;
    glGetBufferParameterivARB(eTarget, GL_BUFFER_SIZE_ARB, &iSize);
    glBindBufferARB(eTarget, 0);
    if (iSize != iNumBytes) {
        twLogError("twOgl_CreateVbo", "bufferSize(%d)!=iNumBytes(%d)\n", (int)iSize, iNumBytes);
        return 0;
    }
    return hVbo;
}

int twOgl_UpdateVbo(uint32_t hVbo, int bIndices, int iOffset, int iNumBytes, const void* pData)
{
    GLenum eTarget = bIndices ? GL_ELEMENT_ARRAY_BUFFER_ARB : GL_ARRAY_BUFFER_ARB;
    glBindBufferARB(eTarget, hVbo);
    if (bIndices || !iOffset)
        glBufferDataARB(eTarget, iNumBytes, pData, GL_STATIC_DRAW_ARB);
    else
        glBufferSubDataARB(eTarget, iOffset, iNumBytes, pData);
    glBindBufferARB(eTarget, 0);
    return 1;
}

int twOgl_FreeVbo(uint32_t hVbo)
{
    if (hVbo)
        glDeleteBuffersARB(1, &hVbo);
    return 1;
}

void twOgl_DrawBox(const float* pvPos, const float* pvScale, int bLines)
{
    glPushMatrix();
    if (pvPos)
        glTranslatef(pvPos[0], pvPos[1], pvPos[2]);
    if (pvScale)
        glScalef(pvScale[0], pvScale[1], pvScale[2]);
    glCallList(bLines ? pOgl->hBoxLines : pOgl->hBoxFaces);
    glPopMatrix();
}

void twOgl_DrawRotatedBox(const float* pvPos, const float* pvHalfSize, float fAngle)
{
    // the outline lies just outside the solid it marks
    const float fGrow = 0.006f;
    float afHalf[3] = {1, 1, 1};
    if (pvHalfSize)
        memcpy(afHalf, pvHalfSize, sizeof(afHalf));
    glPushMatrix();
    if (pvPos)
        glTranslatef(pvPos[0], pvPos[1], pvPos[2]);
    glRotatef(fAngle, 0, 1, 0);
    glScalef(afHalf[0] + fGrow, afHalf[1] + fGrow, afHalf[2] + fGrow);
    glCallList(pOgl->hBoxLines);
    glPopMatrix();
}

void twOgl_DrawRect(int iX, int iY, int iW, int iH, int bOutline)
{
    glBegin(bOutline ? GL_LINE_LOOP : GL_QUADS);
    glTexCoord2f(0, 0);
    glVertex2i(iX, iY);
    glTexCoord2f(1, 0);
    glVertex2i(iX + iW, iY);
    glTexCoord2f(1, 1);
    glVertex2i(iX + iW, iY + iH);
    glTexCoord2f(0, 1);
    glVertex2i(iX, iY + iH);
    glEnd();
}

void twOgl_DrawFacingSquare(float fHalf, float fDistance)
{
    glBegin(GL_QUADS);
    glTexCoord2f(0, 0);
    glVertex3f(-fHalf, -fHalf, -fDistance);
    glTexCoord2f(1, 0);
    glVertex3f(fHalf, -fHalf, -fDistance);
    glTexCoord2f(1, 1);
    glVertex3f(fHalf, fHalf, -fDistance);
    glTexCoord2f(0, 1);
    glVertex3f(-fHalf, fHalf, -fDistance);
    glEnd();
}

void twOgl_DrawImage(int iX, int iY, int iW, int iH, const TwTexture* pTexture, int bBlend)
{
    if (!pTexture)
        return;
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, pTexture->hTexture);
    if (bBlend)
        glEnable(GL_BLEND);
    if (!iW || !iH) {
        iW = pTexture->iWidth;
        iH = pTexture->iHeight;
    }
    twOgl_DrawRect(iX, iY, iW, iH, 0);
    glDisable(GL_TEXTURE_2D);
    if (bBlend)
        glDisable(GL_BLEND);
}

void twOgl_DrawBackground(int iW, int iH)
{
    glDepthFunc(GL_ALWAYS);
    glDepthRange(1, 1);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glOrtho(0, iW, 0, iH, 1, -1);
    glBegin(GL_QUADS);
    glColor3f(1, 1, 1);
    glVertex2i(0, 0);
    glVertex2i(iW, 0);
    glColor3f(0, 0, 0);
    glVertex2i(iW, iH);
    glVertex2i(0, iH);
    glEnd();
    glDepthFunc(GL_LEQUAL);
    glDepthRange(0, 1);
}

void twOgl_DrawAxes(void)
{
    glBegin(GL_LINES);
    glColor3f(1, 0, 0);
    glVertex3f(0, 0, 0);
    glVertex3f(0.2f, 0, 0);
    glColor3f(0, 1, 0);
    glVertex3f(0, 0, 0);
    glVertex3f(0, 0.2f, 0);
    glColor3f(0, 0, 1);
    glVertex3f(0, 0, 0);
    glVertex3f(0, 0, -0.2f);
    glEnd();
}

void twOgl_DrawCrossHair(void)
{
    int cx = pOgl->iWidth / 2, cy = pOgl->iHeight / 2;
    glBegin(GL_LINES);
    glColor3f(1, 1, 1);
    glVertex2i(cx - 10, cy);
    glVertex2i(cx - 2, cy);
    glVertex2i(cx + 1, cy);
    glVertex2i(cx + 10, cy);
    glVertex2i(cx, cy - 10);
    glVertex2i(cx, cy - 2);
    glVertex2i(cx, cy + 2);
    glVertex2i(cx, cy + 10);
    // the same in black a pixel aside, as a shadow
    glColor3f(0, 0, 0);
    for (int iRow = cy - 1; iRow <= cy + 1; iRow += 2) {
        glVertex2i(cx - 10, iRow);
        glVertex2i(cx - 2, iRow);
        glVertex2i(cx + 1, iRow);
        glVertex2i(cx + 10, iRow);
    }
    for (int iCol = cx - 1; iCol <= cx + 1; iCol += 2) {
        glVertex2i(iCol, cy - 10);
        glVertex2i(iCol, cy - 2);
        glVertex2i(iCol, cy + 2);
        glVertex2i(iCol, cy + 10);
    }
    glEnd();
}

// The rotation of an eye looking along a direction, the up vector upright in its view
static void LookRotation(const float* pvDir, const float* pvUp, float* pfMatrix)
{
    float afBack[3] = {-pvDir[0], -pvDir[1], -pvDir[2]};
    twVec_Normalize(afBack);
    float afSide[3], afUp[3];
    twVec_Cross(pvUp, afBack, afSide);
    twVec_Normalize(afSide);
    twVec_Cross(afBack, afSide, afUp);
    twVec_Normalize(afUp);
    const float afMatrix[16] = {afSide[0], afUp[0], afBack[0], 0, afSide[1], afUp[1], afBack[1], 0,
                                afSide[2], afUp[2], afBack[2], 0, 0,         0,      0,         1};
    memcpy(pfMatrix, afMatrix, sizeof(afMatrix));
}

void twOgl_LookAlong(const float* pvEye, const float* pvDir, const float* pvUp)
{
    float afMatrix[16];
    LookRotation(pvDir, pvUp, afMatrix);
    glMultMatrixf(afMatrix);
    glTranslatef(-pvEye[0], -pvEye[1], -pvEye[2]);
}

void twOgl_LookAlongMatrix(const float* pvEye, const float* pvDir, const float* pvUp, float* pfOut)
{
    float afTranslate[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -pvEye[0], -pvEye[1], -pvEye[2], 1};
    LookRotation(pvDir, pvUp, pfOut);
    twMat_Multiply(pfOut, afTranslate, pfOut);
}

void twOgl_UpVector(const float* pvNormal, float* pvOut)
{
    // a normal near level takes the height's size, so that its view keeps a proper up
    float y = pvNormal[1];
    if (y > -0.1f && y <= 0.1f)
        y = fabsf(y);
    float fYaw = atan2f(pvNormal[0], pvNormal[2]), fPitch = asinf(y);
    pvOut[0] = -sinf(fYaw);
    pvOut[1] = tanf(fPitch);
    pvOut[2] = -cosf(fYaw);
    twVec_Normalize(pvOut);
}
