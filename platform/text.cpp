#include <GL/glew.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SYNTHESIS_H
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "platform/ogl.h"

#define FONT_WEIGHT_NORMAL 400
#define FONT_WEIGHT_BOLD 700
#define FONT_LIMIT_WIDE 512 // font 2 may fill its whole bitmap

static FT_Library s_hLibrary = nullptr;

// Face, size, weight and bitmap height of the three fonts; all are drawn with grey levels
struct FontSpec {
    int iSize;     // 0: the configured height
    int iWeight;
    int bConfiguredFace;
    int iBitmapHeight;
};
static const FontSpec s_aSpecs[TW_NUM_FONTS] = {
    {0, FONT_WEIGHT_NORMAL, 1, 16},
    {24, FONT_WEIGHT_BOLD, 1, 32},
    {24, FONT_WEIGHT_NORMAL, 0, 16},
};

// Windows-1252 code points of the bytes 0x80 to 0x9F; the rest of the set is Latin-1
static const uint16_t s_ausCp1252[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                         0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                         0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                         0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

static uint32_t CodePoint(unsigned char ucByte)
{
    if (ucByte >= 0x80 && ucByte < 0xA0)
        return s_ausCp1252[ucByte - 0x80];
    return ucByte;
}

// The font file that the font configuration gives for a face and weight; fontconfig
// substitutes metric-compatible faces ("Arial" is found as Liberation Sans).
static int FindFontFile(const char* pstrFace, int iWeight, char* pstrFile, int iFileSize, int* piIndex,
                        int* pbBoldEnough)
{
    FcPattern* pPattern = FcPatternCreate();
    if (!pPattern)
        return 0;
    FcPatternAddString(pPattern, FC_FAMILY, (const FcChar8*)pstrFace);
    FcPatternAddInteger(pPattern, FC_WEIGHT, iWeight >= FONT_WEIGHT_BOLD ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pPattern, FC_SLANT, FC_SLANT_ROMAN);
    FcConfigSubstitute(nullptr, pPattern, FcMatchPattern);
    FcDefaultSubstitute(pPattern);
    FcResult eResult;
    FcPattern* pMatch = FcFontMatch(nullptr, pPattern, &eResult);
    FcPatternDestroy(pPattern);
    if (!pMatch)
        return 0;
    FcChar8* pucFile = nullptr;
    int iWeightFound = FC_WEIGHT_REGULAR;
    int bFound = FcPatternGetString(pMatch, FC_FILE, 0, &pucFile) == FcResultMatch && pucFile;
    if (bFound) {
        snprintf(pstrFile, iFileSize, "%s", (const char*)pucFile);
        if (FcPatternGetInteger(pMatch, FC_INDEX, 0, piIndex) != FcResultMatch)
            *piIndex = 0;
        FcPatternGetInteger(pMatch, FC_WEIGHT, 0, &iWeightFound);
    }
    *pbBoldEnough = iWeight < FONT_WEIGHT_BOLD || iWeightFound >= FC_WEIGHT_DEMIBOLD;
    FcPatternDestroy(pMatch);
    return bFound;
}

// Loads one character's glyph into the face's slot, thickened for a bold font whose
// face has no bold cut; with bRender the slot holds its bitmap.
static int LoadGlyph(const TwFont* pFont, unsigned char ucByte, int bRender)
{
    FT_Face hFace = (FT_Face)pFont->hFace;
    FT_UInt uiGlyph = FT_Get_Char_Index(hFace, CodePoint(ucByte));
    if (FT_Load_Glyph(hFace, uiGlyph, FT_LOAD_TARGET_NORMAL) != 0)
        return 0;
    if (pFont->bEmbolden)
        FT_GlyphSlot_Embolden(hFace->glyph);
    if (bRender && FT_Render_Glyph(hFace->glyph, FT_RENDER_MODE_NORMAL) != 0)
        return 0;
    return 1;
}

static int InitFont(int iIndex, const char* pstrFace, int iHeight)
{
    const FontSpec* pSpec = &s_aSpecs[iIndex];
    TwFont* pFont = &pOgl->aFonts[iIndex];
    char szFile[1024];
    int iFaceIndex = 0, bBoldEnough = 1;
    FT_Face hFace = nullptr;
    if (!FindFontFile(pSpec->bConfiguredFace ? pstrFace : "Arial", pSpec->iWeight, szFile, sizeof(szFile),
                      &iFaceIndex, &bBoldEnough) ||
        FT_New_Face(s_hLibrary, szFile, iFaceIndex, &hFace) != 0) {
        twLogError("twOgl_InitFonts", "!CreateFontA[%d]\n", iIndex);
        return 0;
    }
    // the size is the character height, not the cell height
    FT_Set_Pixel_Sizes(hFace, 0, pSpec->iSize ? pSpec->iSize : iHeight);
    pFont->hFace = hFace;
    pFont->bEmbolden = !bBoldEnough;
    pFont->iWidth = TW_FONT_WIDTH;
    pFont->iHeight = pSpec->iBitmapHeight;
    pFont->iAscent = (int)((hFace->size->metrics.ascender + 63) >> 6);
    for (int c = 0; c < 256; c++)
        pFont->asAdvance[c] = LoadGlyph(pFont, (unsigned char)c, 0) ? (int16_t)((hFace->glyph->advance.x + 32) >> 6) : 0;
    pFont->puiBits = (uint32_t*)twMem_PlainMalloc((size_t)pFont->iWidth * pFont->iHeight * 4);
    if (!pFont->puiBits) {
        twLogError("twOgl_InitFonts", "!CreateDIBSection[%d]\n", iIndex);
        return 0;
    }
    memset(pFont->puiBits, 0, (size_t)pFont->iWidth * pFont->iHeight * 4);
    glGenTextures(1, &pFont->hTexture);
    glBindTexture(GL_TEXTURE_2D, pFont->hTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, pFont->iWidth, pFont->iHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    return 1;
}

static int MeasureText(const TwFont* pFont, const char* pstrText)
{
    int iWidth = 0;
    for (const unsigned char* p = (const unsigned char*)pstrText; *p; p++)
        iWidth += pFont->asAdvance[*p];
    return iWidth;
}

// Renders a text into the font's bitmap with its top at the bitmap's top, as white on
// black: the green byte of a pixel is the glyph's coverage.
// The text into the font's bitmap; returns the column right of the last glyph pixel
static int RenderText(TwFont* pFont, const char* pstrText)
{
    FT_Face hFace = (FT_Face)pFont->hFace;
    int iPenX = 0, iRight = 0;
    for (const unsigned char* p = (const unsigned char*)pstrText; *p && iPenX < pFont->iWidth; p++) {
        if (!LoadGlyph(pFont, *p, 1))
            continue;
        const FT_Bitmap* pBitmap = &hFace->glyph->bitmap;
        int iLeft = iPenX + hFace->glyph->bitmap_left;
        int iTop = pFont->iAscent - hFace->glyph->bitmap_top; // rows down from the bitmap's top
        for (unsigned int iRow = 0; iRow < pBitmap->rows; iRow++) {
            int y = iTop + (int)iRow;
            if (y < 0 || y >= pFont->iHeight)
                continue;
            uint32_t* puiRow = pFont->puiBits + (size_t)(pFont->iHeight - 1 - y) * pFont->iWidth;
            const unsigned char* pucSource = pBitmap->buffer + (ptrdiff_t)iRow * pBitmap->pitch;
            for (unsigned int iCol = 0; iCol < pBitmap->width; iCol++) {
                int x = iLeft + (int)iCol;
                if (x < 0 || x >= pFont->iWidth)
                    continue;
                unsigned int uiCover = pBitmap->pixel_mode == FT_PIXEL_MODE_MONO
                                           ? ((pucSource[iCol >> 3] >> (7 - (iCol & 7))) & 1) * 255
                                           : pucSource[iCol];
                // glyphs that touch keep the darker edge's cover of the two
                unsigned int uiBefore = (puiRow[x] >> 8) & 0xFF;
                uiCover = uiCover > uiBefore ? uiCover : uiBefore;
                if (uiCover) {
                    puiRow[x] = 0xFF000000u | (uiCover << 16) | (uiCover << 8) | uiCover;
                    iRight = x + 1 > iRight ? x + 1 : iRight;
                }
            }
        }
        iPenX += pFont->asAdvance[*p];
    }
    return iRight;
}

int twOgl_InitFonts(void* hDC, int iCharset, const char* pstrFace, int iHeight, int iTextYOffset)
{
    (void)hDC;
    (void)iCharset; // the texts' bytes are read as the Windows Latin set
    if (!pOgl)
        return 0;
    if (!s_hLibrary && FT_Init_FreeType(&s_hLibrary) != 0) {
        twLogError("twOgl_InitFonts", "!CreateFontA[0]\n");
        return 0;
    }
    for (int i = 0; i < TW_NUM_FONTS; i++)
        if (!InitFont(i, pstrFace ? pstrFace : "", iHeight))
            return 0;
    pOgl->iTextYOffset = iTextYOffset;
    return 1;
}

// Texts drawn again and again (the panel's, frame after frame) keep their pictures: a
// texture a text, the least recently used one given up for a new text. The picture is the
// one the bitmap would get, so a text looks the same from the cache as made afresh.
#define TEXT_CACHE_SIZE 256

struct TextPicture {
    uint32_t hTexture;   // 0: a free place
    int32_t iFont;
    int32_t iRight;      // the picture's columns right of this are clear
    uint32_t uiLastUse;
    char szText[TW_TEXT_BUFFER_SIZE];
};

static TextPicture* s_pTextCache; // TEXT_CACHE_SIZE places, made with the first text
static uint32_t s_uiTextUses;

// The text's picture into the bound texture: a hard-edged mask, every glyph pixel fully
// opaque and coloured by the current colour. Returns the width that holds every glyph pixel.
static int UploadPicture(TwFont* pFont, const char* pstrText)
{
    int iRight = RenderText(pFont, pstrText);
    int iNumPixels = pFont->iWidth * pFont->iHeight;
    for (int i = 0; i < iNumPixels; i++)
        pFont->puiBits[i] = ((pFont->puiBits[i] & 0x0000FF00u) << 16) | 0x00FFFFFFu; // white, the cover as alpha
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, pFont->iWidth, pFont->iHeight, GL_RGBA, GL_UNSIGNED_BYTE, pFont->puiBits);
    memset(pFont->puiBits, 0, (size_t)iNumPixels * 4);
    return iRight;
}

static void FreeTextCache(void)
{
    if (!s_pTextCache)
        return;
    for (int i = 0; i < TEXT_CACHE_SIZE; i++)
        if (s_pTextCache[i].hTexture)
            glDeleteTextures(1, &s_pTextCache[i].hTexture);
    twMem_PlainFree(s_pTextCache);
    s_pTextCache = nullptr;
}

// The texture with the text's picture, made when it isn't there yet, and its width; 0
// without memory
static uint32_t TextPictureOf(TwFont* pFont, int iFont, const char* pstrText, int* piRight)
{
    if (!s_pTextCache) {
        s_pTextCache = (TextPicture*)twMem_PlainMalloc(sizeof(TextPicture) * TEXT_CACHE_SIZE);
        if (!s_pTextCache)
            return 0;
        memset(s_pTextCache, 0, sizeof(TextPicture) * TEXT_CACHE_SIZE);
    }
    s_uiTextUses++;
    TextPicture* pOldest = &s_pTextCache[0];
    for (int i = 0; i < TEXT_CACHE_SIZE; i++) {
        TextPicture* p = &s_pTextCache[i];
        if (p->hTexture && p->iFont == iFont && !strcmp(p->szText, pstrText)) {
            p->uiLastUse = s_uiTextUses;
            *piRight = p->iRight;
            return p->hTexture;
        }
        if (!p->hTexture || (pOldest->hTexture && p->uiLastUse < pOldest->uiLastUse))
            pOldest = p;
    }
    if (!pOldest->hTexture) {
        glGenTextures(1, &pOldest->hTexture);
        glBindTexture(GL_TEXTURE_2D, pOldest->hTexture);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, pFont->iWidth, pFont->iHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    }
    pOldest->iFont = iFont;
    pOldest->uiLastUse = s_uiTextUses;
    snprintf(pOldest->szText, sizeof(pOldest->szText), "%s", pstrText);
    glBindTexture(GL_TEXTURE_2D, pOldest->hTexture);
    pOldest->iRight = UploadPicture(pFont, pstrText);
    *piRight = pOldest->iRight;
    return pOldest->hTexture;
}

void twOgl_FreeFonts(void)
{
    FreeTextCache();
    if (!pOgl)
        return;
    for (int i = 0; i < TW_NUM_FONTS; i++) {
        TwFont* pFont = &pOgl->aFonts[i];
        if (pFont->hTexture)
            glDeleteTextures(1, &pFont->hTexture);
        if (pFont->hFace)
            FT_Done_Face((FT_Face)pFont->hFace);
        twMem_PlainFree(pFont->puiBits);
        memset(pFont, 0, sizeof(TwFont));
    }
    if (s_hLibrary) {
        FT_Done_FreeType(s_hLibrary);
        s_hLibrary = nullptr;
        FcFini();
    }
}

void twOgl_DrawText(int iFont, int iX, int iY, const char* pstrText)
{
    if (!pOgl || iFont < 0 || iFont >= TW_NUM_FONTS || !pstrText)
        return;
    TwFont* pFont = &pOgl->aFonts[iFont];
    if (!pFont->hFace)
        return;
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, pFont->hTexture);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    if (pFont->iHeight == 32)
        iY -= 16;
    int iLimit = iFont == 2 ? FONT_LIMIT_WIDE : pOgl->iTextMaxWidth;
    // A text too wide loses its leading folders up to the first "/" or "\" whose tail
    // fits; without such a tail the buffer keeps the last one tried, or nothing.
    char szText[TW_TEXT_BUFFER_SIZE];
    szText[0] = 0;
    if (MeasureText(pFont, pstrText) < iLimit) {
        snprintf(szText, sizeof(szText), "%s", pstrText);
    } else {
        for (const char* p = pstrText; *p; p++) {
            if (*p != '/' && *p != '\\')
                continue;
            snprintf(szText, sizeof(szText), "%s", p);
            if (MeasureText(pFont, szText) < iLimit)
                break;
        }
    }
    int iRight = 0;
    uint32_t hPicture = TextPictureOf(pFont, iFont, szText, &iRight);
    if (hPicture) {
        glBindTexture(GL_TEXTURE_2D, hPicture);
    } else {
        // no memory for the cache: the font's own texture, made afresh
        glBindTexture(GL_TEXTURE_2D, pFont->hTexture);
        iRight = UploadPicture(pFont, szText);
    }
    iY += pOgl->iTextYOffset;
    // only the part with glyphs: the rest of the picture is clear, and each of these pixels
    // samples the texel it did across the whole width
    float u = (float)iRight / (float)pFont->iWidth;
    glBegin(GL_QUADS);
    glTexCoord2f(0, 0);
    glVertex2i(iX, iY);
    glTexCoord2f(u, 0);
    glVertex2i(iX + iRight, iY);
    glTexCoord2f(u, 1);
    glVertex2i(iX + iRight, iY + pFont->iHeight);
    glTexCoord2f(0, 1);
    glVertex2i(iX, iY + pFont->iHeight);
    glEnd();
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

int twOgl_GetTextWidth(int iFont, const char* pstrText)
{
    if (!pOgl || iFont < 0 || iFont >= TW_NUM_FONTS || !pstrText || !pOgl->aFonts[iFont].hFace)
        return 0;
    return MeasureText(&pOgl->aFonts[iFont], pstrText);
}
