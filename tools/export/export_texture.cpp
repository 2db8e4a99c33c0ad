// Textures for the model: any image stb_image reads, scaled to power-of-two sides no
// larger than the limit, as an uncompressed TGA whose first row is the image's bottom.
#include <stb_image.h>
#include <stb_image_resize.h>
#include <string.h>

#include "tools/export/export.h"

// The nearest power of two, at most iMaxSide
static int Pow2Side(int iSide, int iMaxSide)
{
    int iPow = 1;
    while (iPow * 2 <= iSide)
        iPow *= 2;
    if (iPow * 2 <= iMaxSide && iSide - iPow > iPow * 2 - iSide)
        iPow *= 2;
    return iPow > iMaxSide ? iMaxSide : iPow;
}

static int ToTexture(uint8_t* pucPixels, int iWidth, int iHeight, int iMaxSide, TwExportTexture* pTexture,
                     std::string* pError)
{
    int bAlpha = 0;
    for (int i = 0; i < iWidth * iHeight && !bAlpha; i++)
        bAlpha = pucPixels[i * 4 + 3] != 255;
    int iOutW = Pow2Side(iWidth, iMaxSide), iOutH = Pow2Side(iHeight, iMaxSide);
    std::vector<uint8_t> scaled((size_t)iOutW * iOutH * 4);
    if (!stbir_resize_uint8(pucPixels, iWidth, iHeight, 0, scaled.data(), iOutW, iOutH, 0, 4)) {
        *pError = "the image could not be scaled";
        return 0;
    }
    int iChannels = bAlpha ? 4 : 3;
    std::vector<uint8_t> tga(18, 0);
    tga[2] = 2;
    tga[12] = (uint8_t)(iOutW & 255);
    tga[13] = (uint8_t)(iOutW >> 8);
    tga[14] = (uint8_t)(iOutH & 255);
    tga[15] = (uint8_t)(iOutH >> 8);
    tga[16] = (uint8_t)(iChannels * 8);
    tga[17] = bAlpha ? 8 : 0;
    tga.reserve(18 + scaled.size());
    // the image comes top row first; the model's textures start at the bottom
    for (int y = iOutH - 1; y >= 0; y--)
        for (int x = 0; x < iOutW; x++) {
            const uint8_t* p = &scaled[((size_t)y * iOutW + x) * 4];
            tga.push_back(p[2]);
            tga.push_back(p[1]);
            tga.push_back(p[0]);
            if (bAlpha)
                tga.push_back(p[3]);
        }
    pTexture->iWidth = iOutW;
    pTexture->iHeight = iOutH;
    pTexture->bUseAlpha = bAlpha;
    pTexture->image.swap(tga);
    return 1;
}

int twExportTexture_FromFile(const std::string& path, int iMaxSide, TwExportTexture* pTexture, std::string* pError)
{
    int iWidth, iHeight, iChannels;
    uint8_t* pucPixels = stbi_load(path.c_str(), &iWidth, &iHeight, &iChannels, 4);
    if (!pucPixels) {
        *pError = std::string("can't read the image '") + path + "': " + stbi_failure_reason();
        return 0;
    }
    int bOk = ToTexture(pucPixels, iWidth, iHeight, iMaxSide, pTexture, pError);
    stbi_image_free(pucPixels);
    return bOk;
}

int twExportTexture_FromMemory(const uint8_t* pData, int iSize, int iMaxSide, TwExportTexture* pTexture,
                               std::string* pError)
{
    int iWidth, iHeight, iChannels;
    uint8_t* pucPixels = stbi_load_from_memory(pData, iSize, &iWidth, &iHeight, &iChannels, 4);
    if (!pucPixels) {
        *pError = std::string("can't read an embedded image: ") + stbi_failure_reason();
        return 0;
    }
    int bOk = ToTexture(pucPixels, iWidth, iHeight, iMaxSide, pTexture, pError);
    stbi_image_free(pucPixels);
    return bOk;
}
