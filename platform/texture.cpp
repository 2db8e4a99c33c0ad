#include <GL/glew.h>
#include <string.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "platform/image.h"
#include "platform/ogl.h"

#define SYSTEM_TEXTURE_SIZE 64

static GLint WrapMode(int iWrap)
{
    if (iWrap == 0)
        return GL_REPEAT;
    if (iWrap == 2)
        return GL_CLAMP_TO_EDGE;
    return GL_CLAMP;
}

static void CountTextureBytes(int64_t iBytes)
{
    twOgl_AddTextureMemory((int)iBytes);
}

// The record of a texture just made and bound; without memory for it the GL name goes too
static TwTexture* NewTextureRecord(const char* pstrTag, const char* pstrName, GLuint hTexture, int iWidth,
                                   int iHeight, int iCreatedFormat, int64_t iBytes)
{
    TwTexture* pTexture = (TwTexture*)twMem_Malloc(sizeof(TwTexture), "pTexture");
    if (!pTexture) {
        twLogError(pstrTag, "!malloc : pTexture\n");
        glDeleteTextures(1, &hTexture);
        return nullptr;
    }
    snprintf(pTexture->szName, sizeof(pTexture->szName), "%s", pstrName ? pstrName : "");
    pTexture->iWidth = iWidth;
    pTexture->iHeight = iHeight;
    pTexture->iInternalFormat = iCreatedFormat;
    pTexture->uiNumBytes = (uint32_t)iBytes;
    pTexture->hTexture = hTexture;
    CountTextureBytes(iBytes);
    return pTexture;
}

// twOgl_CreateTexture with the type of the data as a parameter: the built-in default
// texture comes as signed bytes.
static TwTexture* CreateTextureOfType(const char* pstrName, int iWidth, int iHeight, int iInternalFormat, int bLinear,
                                      int bMipmap, int iWrap, int iFormat, const void* pData, GLenum eType)
{
    const char* pstrTag = "twOgl_CreateTexture";
    if (iWidth < 1 || iHeight < 1) {
        twLogError(pstrTag, "!Invalid size %d x %d\n", iWidth, iHeight);
        return nullptr;
    }
    if ((!twCore_IsPow2(iWidth) || !twCore_IsPow2(iHeight)) && !twOgl_HasNpot()) {
        twLogError(pstrTag, "!Image not powers-of-two ( required by this GL driver )\n");
        return nullptr;
    }
    GLuint hTexture = 0;
    glGenTextures(1, &hTexture);
    glBindTexture(GL_TEXTURE_2D, hTexture);
    if (!iFormat) {
        if (pData) {
            twLogError(pstrTag, "!Supplied data format not set\n");
            glDeleteTextures(1, &hTexture);
            return nullptr;
        }
        iFormat = GL_LUMINANCE;
    }
    glTexImage2D(GL_TEXTURE_2D, 0, iInternalFormat, iWidth, iHeight, 0, iFormat, eType, pData);
    if (bMipmap) {
        glTexParameteri(GL_TEXTURE_2D, GL_GENERATE_MIPMAP, 1);
        if (pData)
            glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, iWidth, iHeight, iFormat, eType, pData);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, bLinear ? GL_LINEAR_MIPMAP_NEAREST : GL_NEAREST_MIPMAP_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, bLinear ? GL_LINEAR : GL_NEAREST);
    } else {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, bLinear ? GL_LINEAR : GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, bLinear ? GL_LINEAR : GL_NEAREST);
    }
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, WrapMode(iWrap));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, WrapMode(iWrap));
    GLint iCreated = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &iCreated);
    return NewTextureRecord(pstrTag, pstrName, hTexture, iWidth, iHeight, iCreated, (int64_t)iWidth * iHeight * 4);
}

TwTexture* twOgl_CreateTexture(const char* pstrName, int iWidth, int iHeight, int iInternalFormat, int bLinear,
                               int bMipmap, int iWrap, int iFormat, const void* pData)
{
    return CreateTextureOfType(pstrName, iWidth, iHeight, iInternalFormat, bLinear, bMipmap, iWrap, iFormat, pData,
                               GL_UNSIGNED_BYTE);
}

TwTexture* twOgl_CreateDxtTexture(const char* pstrName, int iWidth, int iHeight, int iFormat, int iNumLevels,
                                  int bLinear, int bMipmap, int bClamp, const void* pData)
{
    const char* pstrTag = "twOgl_CreateDxtTexture";
    if (!twCore_IsPow2(iWidth) || !twCore_IsPow2(iHeight)) {
        twLogError(pstrTag, "!Image not powers of two\n");
        return nullptr;
    }
    if (iFormat != GL_COMPRESSED_RGB_S3TC_DXT1_EXT && iFormat != GL_COMPRESSED_RGBA_S3TC_DXT5_EXT) {
        twLogError(pstrTag, "Format must be DXT1 or DXT 5\n");
        return nullptr;
    }
    if (bMipmap && iNumLevels == 0) {
        twLogError(pstrTag, "!Mipmap flag requires mip levels with the data\n");
        return nullptr;
    }
    GLuint hTexture = 0;
    glGenTextures(1, &hTexture);
    glBindTexture(GL_TEXTURE_2D, hTexture);
    const uint8_t* pucLevel = (const uint8_t*)pData;
    int iSize = twDxt_GetLevelSize(iFormat, iWidth, iHeight);
    glCompressedTexImage2D(GL_TEXTURE_2D, 0, iFormat, iWidth, iHeight, 0, iSize, pucLevel);
    int64_t iTotal = iSize;
    if (bMipmap) {
        int iLevelWidth = iWidth, iLevelHeight = iHeight;
        for (int iLevel = 1; iLevel < iNumLevels; iLevel++) {
            pucLevel += iSize;
            if (iLevelWidth > 1)
                iLevelWidth /= 2;
            if (iLevelHeight > 1)
                iLevelHeight /= 2;
            iSize = twDxt_GetLevelSize(iFormat, iLevelWidth, iLevelHeight);
            glCompressedTexImage2D(GL_TEXTURE_2D, iLevel, iFormat, iLevelWidth, iLevelHeight, 0, iSize, pucLevel);
            iTotal += iSize;
        }
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, bLinear ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, bLinear ? GL_LINEAR : GL_NEAREST);
    } else {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, bLinear ? GL_LINEAR : GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, bLinear ? GL_LINEAR : GL_NEAREST);
    }
    GLint iWrap = bClamp ? GL_CLAMP_TO_EDGE : GL_REPEAT;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, iWrap);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, iWrap);
    GLint iCreated = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &iCreated);
    twLog(pstrTag, "New texture\n");
    twLog(pstrTag, "  Name = '%s'\n", pstrName ? pstrName : "");
    twLog(pstrTag, "  Width = %d\n", iWidth);
    twLog(pstrTag, "  Height = %d\n", iHeight);
    twLog(pstrTag, "  Requested format = %s\n", twOgl_GetFormatName(iFormat));
    twLog(pstrTag, "  Created format = %s\n", twOgl_GetFormatName(iCreated));
    return NewTextureRecord(pstrTag, pstrName, hTexture, iWidth, iHeight, iCreated, iTotal);
}

// The target size of one side: a power-of-two side stays, any other is reduced.
static int TargetSide(int iSide, int* pbRescale)
{
    if (twCore_IsPow2(iSide))
        return iSide;
    *pbRescale = 1;
    return twCore_ComputePow2Dim(iSide, pOgl->iMaxTextureSize, 0);
}

TwTexture* twOgl_LoadTexture(const char* pstrName, FILE* pFile, int iInternalFormat, int bLinear, int bMipmap,
                             int iWrap)
{
    const char* pstrTag = "twOgl_LoadTexture";
    if (!pOgl || !pstrName || !pFile)
        return nullptr;
    char szExt[16] = "";
    twCore_GetExtension(pstrName, szExt);
    int iWidth = 0, iHeight = 0, iChannels = 0, iFormat = 0, iNumBytes = 0, iNumLevels = 0;
    int bCompressed = 0, bHeader = 0;
    enum { kBmp, kTga, kDds } eKind;
    // the extension's case is that of the file name as given; other spellings are refused
    if (!strcmp(szExt, ".bmp") || !strcmp(szExt, ".BMP")) {
        twLog(pstrTag, "Image is bmp\n");
        eKind = kBmp;
        bHeader = twBmp_ReadHeader(pFile, &iWidth, &iHeight, &iChannels);
    } else if (!strcmp(szExt, ".tga") || !strcmp(szExt, ".TGA")) {
        eKind = kTga;
        bHeader = twTga_ReadHeader(pFile, &iWidth, &iHeight, &iChannels);
    } else if (!strcmp(szExt, ".dds") || !strcmp(szExt, ".DDS")) {
        eKind = kDds;
        bCompressed = 1;
        bHeader = twDxt_ReadHeader(pFile, &iWidth, &iHeight, &iChannels, &iFormat, &iNumBytes, &iNumLevels);
    } else {
        // the caller closes the stream
        twLogError(pstrTag, "Unsupported texture format for '%s'\n", pstrName);
        return nullptr;
    }
    if (!bHeader) {
        twLogError(pstrTag, "!Unreadable image header for '%s'\n", pstrName);
        return nullptr;
    }
    if (iChannels != 1 && iChannels != 3 && iChannels != 4) {
        twLogError(pstrTag, "!Invalid channel count %d for '%s'\n", iChannels, pstrName);
        return nullptr;
    }
    if (iWidth < 1 || iHeight < 1 || iWidth > TW_IMAGE_MAX_SIDE || iHeight > TW_IMAGE_MAX_SIDE) {
        twLogError(pstrTag, "!Invalid image size %d x %d for '%s'\n", iWidth, iHeight, pstrName);
        return nullptr;
    }
    if (bCompressed && (!twCore_IsPow2(iWidth) || !twCore_IsPow2(iHeight))) {
        twLogError(pstrTag, "Dxt image '%s' not powers of two\n", pstrName);
        return nullptr;
    }
    int bRescale = 0;
    int iTargetWidth = TargetSide(iWidth, &bRescale);
    int iTargetHeight = TargetSide(iHeight, &bRescale);
    if (!iTargetWidth || !iTargetHeight) {
        twLogError(pstrTag, "!twCore_ComputePow2Dim : '%s'\n", pstrName);
        return nullptr;
    }
    int64_t iImageBytes = bCompressed ? iNumBytes : (int64_t)iWidth * iHeight * iChannels;
    int64_t iBufferBytes = iImageBytes;
    if (bRescale)
        iBufferBytes += (int64_t)iTargetWidth * iTargetHeight * iChannels;
    uint8_t* pucBuffer = iBufferBytes <= TW_TEMP_BUFFER_SIZE ? (uint8_t*)twMem_GetTempBuffer((int)iBufferBytes, 0)
                                                              : nullptr;
    if (!pucBuffer) {
        twLogError(pstrTag, "!twMem_GetTempBuffer\n");
        return nullptr;
    }
    int bRead = eKind == kBmp   ? twBmp_ReadData(pFile, (int)iImageBytes, pucBuffer)
                : eKind == kTga ? twTga_ReadData(pFile, (int)iImageBytes, pucBuffer)
                                : twDxt_ReadData(pFile, (int)iImageBytes, pucBuffer);
    if (!bRead) {
        twLogError(pstrTag, "!Unreadable image data for '%s'\n", pstrName);
        return nullptr;
    }
    const uint8_t* pucPixels = pucBuffer;
    if (bRescale) {
        uint8_t* pucScaled = pucBuffer + iImageBytes;
        if (!twCore_ScaleImage(iChannels, iWidth, iHeight, pucBuffer, iTargetWidth, iTargetHeight, pucScaled, 1))
            return nullptr;
        twLog(pstrTag, "Image was rescaled from %d x %d to %d x %d\n", iWidth, iHeight, iTargetWidth, iTargetHeight);
        pucPixels = pucScaled;
    }
    if (bCompressed) {
        // a driver without S3TC shows white where the image would be
        if (!GLEW_EXT_texture_compression_s3tc)
            return pOgl->pWhiteTexture;
        return twOgl_CreateDxtTexture(pstrName, iWidth, iHeight, iFormat, iNumLevels, bLinear, bMipmap, iWrap,
                                      pucPixels);
    }
    int iDataFormat = iChannels == 1 ? GL_LUMINANCE : (iChannels == 3 ? GL_RGB : GL_RGBA);
    return twOgl_CreateTexture(pstrName, iTargetWidth, iTargetHeight, iInternalFormat, bLinear, bMipmap, iWrap,
                               iDataFormat, pucPixels);
}

int twOgl_FreeTexture(TwTexture* pTexture)
{
    if (!pTexture) {
        twLogError("twOgl_FreeTexture", "!pTexture\n");
        return 0;
    }
    if (pTexture->hTexture) {
        glDeleteTextures(1, &pTexture->hTexture);
        pTexture->hTexture = 0;
        CountTextureBytes(-(int64_t)pTexture->uiNumBytes);
    }
    twMem_Free(pTexture);
    return 1;
}

TwTexture* twOgl_LoadResourceTexture(const char* pstrResource, const char* pstrShownName, const char* pstrField,
                                     const char* pstrTag)
{
    FILE* pFile = twCore_GetResource(pstrResource, nullptr);
    if (!pFile) {
        twLogError(pstrTag, "!twCore_GetResource : %s\n", pstrShownName);
        return nullptr;
    }
    TwTexture* pTexture = twOgl_LoadTexture(pstrResource, pFile, GL_RGBA, 1, 0, 2);
    fclose(pFile);
    if (!pTexture)
        twLogError(pstrTag, "!twOgl_LoadTexture : %s\n", pstrField);
    return pTexture;
}

void twOgl_ReleaseTexture(TwTexture** ppTexture)
{
    if (*ppTexture)
        twOgl_FreeTexture(*ppTexture);
    *ppTexture = nullptr;
}

TwFbo* twOgl_CreateFbo(const char* pstrName, int iWidth, int iHeight, int bDepth, int bLinear)
{
    const char* pstrTag = "twOgl_CreateFbo";
    if (!GLEW_EXT_framebuffer_object) {
        twLogError(pstrTag, "EXT_framebuffer_object not supported\n");
        return nullptr;
    }
    TwFbo* pFbo = (TwFbo*)twMem_Malloc(sizeof(TwFbo), "pFbo");
    if (!pFbo) {
        twLogError(pstrTag, "!malloc : pFbo\n");
        return nullptr;
    }
    pFbo->pTexture = twOgl_CreateTexture("FboTex", iWidth, iHeight, GL_RGBA, bLinear, 0, 1, GL_RGBA, nullptr);
    if (!pFbo->pTexture) {
        twLogError(pstrTag, "!twOgl_CreateTexture\n");
        twOgl_FreeFbo(pFbo);
        return nullptr;
    }
    glGenFramebuffersEXT(1, &pFbo->hFbo);
    if (!pFbo->hFbo) {
        twOgl_FreeFbo(pFbo);
        return nullptr;
    }
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hFbo);
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, pFbo->pTexture->hTexture, 0);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    if (bDepth) {
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hFbo);
        glGenRenderbuffersEXT(1, &pFbo->hDepthBuffer);
        if (pFbo->hDepthBuffer) {
            glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, pFbo->hDepthBuffer);
            glRenderbufferStorageEXT(GL_RENDERBUFFER_EXT, GL_DEPTH_COMPONENT24, iWidth, iHeight);
            glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT,
                                         pFbo->hDepthBuffer);
            glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, 0);
        }
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
        if (!pFbo->hDepthBuffer) {
            twOgl_FreeFbo(pFbo);
            return nullptr;
        }
    }
    snprintf(pFbo->szName, sizeof(pFbo->szName), "%s", pstrName ? pstrName : "");
    return pFbo;
}

int twOgl_FreeFbo(TwFbo* pFbo)
{
    if (!pFbo)
        return 0;
    if (pFbo->hSampledFbo)
        glDeleteFramebuffersEXT(1, &pFbo->hSampledFbo);
    if (pFbo->hSampledColor)
        glDeleteRenderbuffersEXT(1, &pFbo->hSampledColor);
    if (pFbo->hSampledDepth)
        glDeleteRenderbuffersEXT(1, &pFbo->hSampledDepth);
    if (pFbo->hDepthBuffer)
        glDeleteRenderbuffersEXT(1, &pFbo->hDepthBuffer);
    if (pFbo->hFbo)
        glDeleteFramebuffersEXT(1, &pFbo->hFbo);
    if (pFbo->pTexture)
        twOgl_FreeTexture(pFbo->pTexture);
    twMem_Free(pFbo);
    return 1;
}

int twOgl_AddSamples(TwFbo* pFbo, int iWidth, int iHeight, int iSamples)
{
    if (!pFbo || iSamples < 2 || !GLEW_EXT_framebuffer_multisample || !GLEW_EXT_framebuffer_blit)
        return 0;
    GLint iMax = 0;
    glGetIntegerv(GL_MAX_SAMPLES_EXT, &iMax);
    iSamples = iSamples < iMax ? iSamples : iMax;
    if (iSamples < 2)
        return 0;
    glGenFramebuffersEXT(1, &pFbo->hSampledFbo);
    glGenRenderbuffersEXT(1, &pFbo->hSampledColor);
    glGenRenderbuffersEXT(1, &pFbo->hSampledDepth);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hSampledFbo);
    glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, pFbo->hSampledColor);
    glRenderbufferStorageMultisampleEXT(GL_RENDERBUFFER_EXT, iSamples, GL_RGBA8, iWidth, iHeight);
    glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_RENDERBUFFER_EXT, pFbo->hSampledColor);
    // depth with a stencil where the driver packs them, for the cut's filled faces
    int bStencil = GLEW_EXT_packed_depth_stencil;
    glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, pFbo->hSampledDepth);
    glRenderbufferStorageMultisampleEXT(GL_RENDERBUFFER_EXT, iSamples,
                                        bStencil ? GL_DEPTH24_STENCIL8_EXT : GL_DEPTH_COMPONENT24, iWidth, iHeight);
    glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT, pFbo->hSampledDepth);
    if (bStencil)
        glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_STENCIL_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT,
                                     pFbo->hSampledDepth);
    glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, 0);
    int bOk = glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT) == GL_FRAMEBUFFER_COMPLETE_EXT;
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    if (!bOk) {
        // the picture is drawn without samples, as before
        twLogError("twOgl_AddSamples", "!The driver has no frame buffer of %d samples\n", iSamples);
        glDeleteFramebuffersEXT(1, &pFbo->hSampledFbo);
        glDeleteRenderbuffersEXT(1, &pFbo->hSampledColor);
        glDeleteRenderbuffersEXT(1, &pFbo->hSampledDepth);
        pFbo->hSampledFbo = pFbo->hSampledColor = pFbo->hSampledDepth = 0;
        return 0;
    }
    pFbo->iSampledWidth = iWidth;
    pFbo->iSampledHeight = iHeight;
    pFbo->iSamples = iSamples;
    return iSamples;
}

TwFbo* twOgl_CreateWindowSamples(int iWidth, int iHeight, int iSamples)
{
    TwFbo* pFbo = (TwFbo*)twMem_Malloc(sizeof(TwFbo), "pFbo");
    if (!pFbo)
        return nullptr;
    snprintf(pFbo->szName, sizeof(pFbo->szName), "Window");
    // what the driver can't give at 4 samples it may at 2
    if (!twOgl_AddSamples(pFbo, iWidth, iHeight, iSamples) && !twOgl_AddSamples(pFbo, iWidth, iHeight, 2)) {
        twMem_Free(pFbo);
        return nullptr;
    }
    return pFbo;
}

void twOgl_BindSampled(TwFbo* pFbo)
{
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hSampledFbo ? pFbo->hSampledFbo : pFbo->hFbo);
    if (pFbo->hSampledFbo)
        glEnable(GL_MULTISAMPLE_ARB);
}

void twOgl_ResolveSamples(TwFbo* pFbo)
{
    if (pFbo->hSampledFbo) {
        int iWidth = pFbo->iSampledWidth, iHeight = pFbo->iSampledHeight;
        glDisable(GL_MULTISAMPLE_ARB);
        glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, pFbo->hSampledFbo);
        glBindFramebufferEXT(GL_DRAW_FRAMEBUFFER_EXT, pFbo->hFbo);
        glBlitFramebufferEXT(0, 0, iWidth, iHeight, 0, 0, iWidth, iHeight, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    }
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hFbo);
}

int twOgl_CreateDefaultTexture(void)
{
    // grey with a light rim and a small mark, so that a missing texture shows itself
    int8_t acImage[SYSTEM_TEXTURE_SIZE * SYSTEM_TEXTURE_SIZE];
    for (int iRow = 0; iRow < SYSTEM_TEXTURE_SIZE; iRow++)
        for (int iCol = 0; iCol < SYSTEM_TEXTURE_SIZE; iCol++) {
            int bRim = iRow == 0 || iCol == 0 || iRow == SYSTEM_TEXTURE_SIZE - 1 || iCol == SYSTEM_TEXTURE_SIZE - 1;
            acImage[iRow * SYSTEM_TEXTURE_SIZE + iCol] = bRim ? 88 : 45;
        }
    static const int aiMark[][3] = {{54, 9, 9}, {56, 9, 9}, {57, 9, 12}, {58, 12, 12}, {59, 12, 12}, {60, 6, 12}};
    for (const auto& run : aiMark)
        for (int iCol = run[1]; iCol <= run[2]; iCol++)
            acImage[run[0] * SYSTEM_TEXTURE_SIZE + iCol] = 89;
    pOgl->pDefaultTexture = CreateTextureOfType("DefaultTexture", SYSTEM_TEXTURE_SIZE, SYSTEM_TEXTURE_SIZE,
                                                GL_LUMINANCE, 0, 0, 0, GL_LUMINANCE, acImage, GL_BYTE);
    if (!pOgl->pDefaultTexture) {
        twLogError("twOgl_CreateDefaultTexture", "!twOgl_CreateTexture\n");
        return 0;
    }
    return 1;
}

int twOgl_CreateWhiteTexture(void)
{
    const int iBytes = SYSTEM_TEXTURE_SIZE * SYSTEM_TEXTURE_SIZE;
    uint8_t* pucWhite = (uint8_t*)twMem_GetTempBuffer(iBytes, 0);
    if (!pucWhite) {
        twLogError("twOgl_CreateWhiteTexture", "!twMem_GetTempBuffer\n");
        return 0;
    }
    memset(pucWhite, 255, iBytes);
    pOgl->pWhiteTexture = twOgl_CreateTexture("WhiteTexture", SYSTEM_TEXTURE_SIZE, SYSTEM_TEXTURE_SIZE, GL_LUMINANCE,
                                              0, 0, 0, GL_LUMINANCE, pucWhite);
    if (!pOgl->pWhiteTexture) {
        twLogError("twOgl_CreateWhiteTexture", "!twOgl_CreateTexture\n");
        return 0;
    }
    return 1;
}

int twOgl_Screenshot(const char* pstrPath, const char* pstrFallbackPath, int bPng)
{
    const char* pstrTag = "twOgl_Screenshot";
    if (!pOgl)
        return 0;
    int64_t iBytes = (int64_t)pOgl->iWidth * pOgl->iHeight * 3;
    uint8_t* pucPixels = iBytes <= TW_TEMP_BUFFER_SIZE ? (uint8_t*)twMem_GetTempBuffer((int)iBytes, 0) : nullptr;
    if (!pucPixels) {
        twLogError(pstrTag, "!twMem_GetTempBuffer\n");
        return 0;
    }
    // rows come out bottom-up and unpadded (the pack alignment is 1); a BMP keeps blue first
    glReadPixels(0, 0, pOgl->iWidth, pOgl->iHeight, bPng ? GL_RGB : GL_BGR, GL_UNSIGNED_BYTE, pucPixels);
    if (pstrPath && twImage_WriteShot(pstrPath, pOgl->iWidth, pOgl->iHeight, pucPixels, bPng))
        return 1;
    if (pstrFallbackPath && twImage_WriteShot(pstrFallbackPath, pOgl->iWidth, pOgl->iHeight, pucPixels, bPng))
        return 1;
    twLogError(pstrTag, bPng ? "!twPng_Write\n" : "!twBmp_Write\n");
    return 0;
}
