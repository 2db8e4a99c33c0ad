// The engine's thin layer over OpenGL 1.x with ARB programs: fixed state, capability
// report, programs, vertex buffers, simple shapes (ogl.cpp); textures, frame buffers and
// the screenshot (texture.cpp); text (text.cpp). Drawing code sets what it needs and
// returns to the base state of twOgl_InitStates.
#pragma once
#include <stdint.h>
#include <stdio.h>

#define TW_TEXTURE_NAME_SIZE 128
#define TW_NUM_FONTS 3
#define TW_FONT_WIDTH 512
#define TW_TEXT_BUFFER_SIZE 512
#define TW_CUBE_FACE_SIZE 256

// A texture. The model file's texture records have the same 172 bytes; its loader
// copies the first 168 and keeps the GL name.
struct TwTexture {
    char szName[TW_TEXTURE_NAME_SIZE];
    int32_t iWidth, iHeight;     // pixels
    int32_t aiFileWords[5];      // used only by the model file's records
    int32_t iInternalFormat;     // what the driver reports for level 0
    uint32_t uiNumBytes;         // counted in the texture memory: w x h x 4 plain, exact for DXT
    int32_t iFileWord;           // used only by the model file's records
    uint32_t hTexture;           // GL name
};
static_assert(sizeof(TwTexture) == 172, "texture record mirrors the model file");

struct TwFbo {
    char szName[512];
    uint32_t hFbo;
    uint32_t hDepthBuffer;   // render buffer, or 0
    TwTexture* pTexture;     // the colour attachment
    // a multisampled twin drawn into and resolved into the frame buffer, for smooth edges; 0 without
    uint32_t hSampledFbo, hSampledColor, hSampledDepth;
    int32_t iSampledWidth, iSampledHeight, iSamples;
};

// A font renders each string into its bitmap, which goes up as one texture.
struct TwFont {
    int32_t iWidth, iHeight;  // bitmap and texture size
    uint32_t hTexture;
    void* hFace;              // FreeType face
    int32_t iAscent;          // pixels from the bitmap's top to the baseline
    int32_t bEmbolden;        // the face found isn't bold enough: thicken it
    int16_t asAdvance[256];   // pixels each character moves the pen, by byte
    uint32_t* puiBits;        // iWidth x iHeight pixels, bottom row first; green is glyph coverage
};

struct TwOgl {
    int32_t iWidth, iHeight;     // the window's pixels
    int32_t iMaxTextureSize;
    int32_t iMax3dTextureSize;
    int32_t iMaxTextureUnits;
    uint32_t uiVideoMemory;      // bytes
    uint32_t uiTextureBytes;     // estimated bytes of all live textures
    char szTextureBytes[128];    // the same with thousands groups
    char szFormatName[256];      // buffer of twOgl_GetFormatName
    int32_t iSwapInterval;
    TwTexture* pDefaultTexture;  // shows where a texture is missing
    TwTexture* pWhiteTexture;
    uint32_t hNormalizationCube;
    uint32_t hBoxFaces, hBoxLines; // display lists
    TwFont aFonts[TW_NUM_FONTS];
    int32_t iTextYOffset;        // added to every text's height
    int32_t iTextMaxWidth;       // width limit of fonts 0 and 1
};

extern TwOgl* pOgl;

// --- set-up and capabilities (ogl.cpp)
int twOgl_Init(int iWidth, int iHeight, uint32_t uiVideoMemory);
int twOgl_Free(void);
int twOgl_InitStates(void);
int twOgl_InitExtensions(void);
int twOgl_CreateSimpleGeometry(void);
int twOgl_CreateNormalizationCubeTexture(void);
int twOgl_SetSwapInterval(int iInterval);
void twOgl_SetTextMaxWidth(int iWidth);
int twOgl_HasFbo(void);
int twOgl_HasNpot(void);
int twOgl_HasFragmentPrograms(void);
int twOgl_HasVertexPrograms(void);
int twOgl_HasShadow(void);
int twOgl_HasVbo(void);
TwTexture* twOgl_GetDefaultTexture(void);
TwTexture* twOgl_GetWhiteTexture(void);
int twOgl_GetMaxTextureSize(void);
uint32_t twOgl_GetNormalizationCube(void);
const char* twOgl_GetTextureMemoryText(void);
void twOgl_AddTextureMemory(int iBytes);   // for textures made outside this layer
const char* twOgl_GetFormatName(int iEnum); // name of a GL format, or "0x%x"

// --- programs and buffers (ogl.cpp)
int twOgl_CreateVertexProgram(const char* pstrText, int iLength, uint32_t* phProgram);
int twOgl_CreateFragmentProgram(const char* pstrText, int iLength, uint32_t* phProgram);
uint32_t twOgl_CreateVbo(int iUnused, int bIndices, int iNumBytes, const void* pData); // GL name or 0
int twOgl_UpdateVbo(uint32_t hVbo, int bIndices, int iOffset, int iNumBytes, const void* pData);
int twOgl_FreeVbo(uint32_t hVbo);

// --- simple drawing (ogl.cpp)
void twOgl_DrawBox(const float* pvPos, const float* pvScale, int bLines); // scale is a half size
void twOgl_DrawRotatedBox(const float* pvPos, const float* pvHalfSize, float fAngle);
void twOgl_DrawRect(int iX, int iY, int iW, int iH, int bOutline);
void twOgl_DrawFacingSquare(float fHalf, float fDistance); // textured, across -Z at that distance
void twOgl_DrawImage(int iX, int iY, int iW, int iH, const TwTexture* pTexture, int bBlend); // 0 sizes: the texture's
void twOgl_DrawBackground(int iW, int iH);  // vertical gradient behind everything
void twOgl_DrawAxes(void);
void twOgl_DrawCrossHair(void);
void twOgl_LookAlong(const float* pvEye, const float* pvDir, const float* pvUp);
// The same view as a matrix of its own, for the planes of what it sees
void twOgl_LookAlongMatrix(const float* pvEye, const float* pvDir, const float* pvUp, float* pfOut);
void twOgl_UpVector(const float* pvNormal, float* pvOut); // an up for a view along the normal

// --- textures and frame buffers (texture.cpp)
TwTexture* twOgl_CreateTexture(const char* pstrName, int iWidth, int iHeight, int iInternalFormat, int bLinear,
                               int bMipmap, int iWrap, int iFormat, const void* pData);
TwTexture* twOgl_CreateDxtTexture(const char* pstrName, int iWidth, int iHeight, int iFormat, int iNumLevels,
                                  int bLinear, int bMipmap, int bClamp, const void* pData);
TwTexture* twOgl_LoadTexture(const char* pstrName, FILE* pFile, int iInternalFormat, int bLinear, int bMipmap,
                             int iWrap); // the format by the name's extension; the caller closes the file
int twOgl_FreeTexture(TwTexture* pTexture); // never the shared default or white texture
void twOgl_ReleaseTexture(TwTexture** ppTexture); // frees one that is set, and clears the pointer
// An RGBA texture from the program's pack; failures are logged under the caller's tag, the
// missing resource as pstrShownName and the failed load as pstrField
TwTexture* twOgl_LoadResourceTexture(const char* pstrResource, const char* pstrShownName, const char* pstrField,
                                     const char* pstrTag);
TwFbo* twOgl_CreateFbo(const char* pstrName, int iWidth, int iHeight, int bDepth, int bLinear);
int twOgl_FreeFbo(TwFbo* pFbo);
// Smooth edges: a multisampled twin of a frame buffer, of up to iSamples a pixel (the
// samples obtained, or 0 where the driver has no multisampled frame buffers). Drawing goes
// to the twin, which is then resolved into the frame buffer and leaves it bound. The
// window's twin has the window (frame buffer 0) for its frame buffer: software renderers
// offer multisampled windows that draw single-sampled, frame buffers they sample truly.
int twOgl_AddSamples(TwFbo* pFbo, int iWidth, int iHeight, int iSamples);
TwFbo* twOgl_CreateWindowSamples(int iWidth, int iHeight, int iSamples); // null without
void twOgl_BindSampled(TwFbo* pFbo);
void twOgl_ResolveSamples(TwFbo* pFbo);
int twOgl_CreateDefaultTexture(void);
int twOgl_CreateWhiteTexture(void);
int twOgl_Screenshot(const char* pstrPath, const char* pstrFallbackPath, int bPng); // the back buffer as a BMP or PNG

// --- text (text.cpp)
int twOgl_InitFonts(void* hDC, int iCharset, const char* pstrFace, int iHeight, int iTextYOffset);
void twOgl_FreeFonts(void);
void twOgl_DrawText(int iFont, int iX, int iY, const char* pstrText); // in the current colour
int twOgl_GetTextWidth(int iFont, const char* pstrText);              // pixels; 0 for an unknown font
