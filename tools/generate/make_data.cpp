// Generates the viewer's data at build time: the system images, the skybox faces, the
// exposure table, the installed settings and the data version. Nothing here is read
// from disk: every picture is drawn from shapes, so the repository holds no opaque files.
//
//   make_data <output folder>
//
// writes <output>/Data/Textures/System/*, <output>/Data/Textures/Skybox/*.tga and
// <output>/Data/Settings.bin, <output>/Data/Version.bin.
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <vector>

#include "engine/vector.h"

#define DATA_VERSION 10698
#define SETTINGS_VERSION 25
#define SKY_SIZE 512
#define SUPERSAMPLE 4

// ---------------------------------------------------------------------------------------------
// Canvas: RGBA floats, row 0 at the bottom, as the texture will have it
// ---------------------------------------------------------------------------------------------

struct Canvas {
    int iWidth, iHeight;
    std::vector<float> afPixels; // r, g, b, a, 0 to 1, premultiplied while drawing
};

static Canvas NewCanvas(int iWidth, int iHeight)
{
    Canvas c;
    c.iWidth = iWidth;
    c.iHeight = iHeight;
    c.afPixels.assign((size_t)iWidth * iHeight * 4, 0.0f);
    return c;
}

// A shape is a coverage test at a point in pixel units (y up); it is sampled SUPERSAMPLE^2
// times per pixel, which gives clean edges at icon sizes.
typedef bool (*ShapeFn)(float x, float y, const float* pfArgs);

static void Fill(Canvas* pCanvas, ShapeFn fnShape, const float* pfArgs, float r, float g, float b, float a)
{
    for (int y = 0; y < pCanvas->iHeight; y++)
        for (int x = 0; x < pCanvas->iWidth; x++) {
            int iHits = 0;
            for (int sy = 0; sy < SUPERSAMPLE; sy++)
                for (int sx = 0; sx < SUPERSAMPLE; sx++)
                    if (fnShape(x + (sx + 0.5f) / SUPERSAMPLE, y + (sy + 0.5f) / SUPERSAMPLE, pfArgs))
                        iHits++;
            if (!iHits)
                continue;
            float fCover = a * iHits / (float)(SUPERSAMPLE * SUPERSAMPLE);
            float* p = &pCanvas->afPixels[((size_t)y * pCanvas->iWidth + x) * 4];
            // source over, premultiplied
            p[0] = r * fCover + p[0] * (1 - fCover);
            p[1] = g * fCover + p[1] * (1 - fCover);
            p[2] = b * fCover + p[2] * (1 - fCover);
            p[3] = fCover + p[3] * (1 - fCover);
        }
}

// args: cx, cy, radius
static bool ShapeDisc(float x, float y, const float* a)
{
    return (x - a[0]) * (x - a[0]) + (y - a[1]) * (y - a[1]) <= a[2] * a[2];
}

// args: cx, cy, outer radius, inner radius
static bool ShapeRing(float x, float y, const float* a)
{
    float d = (x - a[0]) * (x - a[0]) + (y - a[1]) * (y - a[1]);
    return d <= a[2] * a[2] && d >= a[3] * a[3];
}

// args: x0, y0, x1, y1, corner radius
static bool ShapeRoundRect(float x, float y, const float* a)
{
    float r = a[4];
    float cx = x < a[0] + r ? a[0] + r : (x > a[2] - r ? a[2] - r : x);
    float cy = y < a[1] + r ? a[1] + r : (y > a[3] - r ? a[3] - r : y);
    if (x < a[0] || x > a[2] || y < a[1] || y > a[3])
        return false;
    return (x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r + 1e-6f;
}

// args: x0, y0, x1, y1, half width: a segment with round caps
static bool ShapeLine(float x, float y, const float* a)
{
    float dx = a[2] - a[0], dy = a[3] - a[1];
    float t = ((x - a[0]) * dx + (y - a[1]) * dy) / (dx * dx + dy * dy);
    t = t < 0 ? 0 : (t > 1 ? 1 : t);
    float px = a[0] + t * dx - x, py = a[1] + t * dy - y;
    return px * px + py * py <= a[4] * a[4];
}

// args: n, then n points (x, y): even-odd fill of a closed polygon
static bool ShapePolygon(float x, float y, const float* a)
{
    int n = (int)a[0];
    const float* p = a + 1;
    bool bInside = false;
    for (int i = 0, j = n - 1; i < n; j = i++) {
        float xi = p[i * 2], yi = p[i * 2 + 1], xj = p[j * 2], yj = p[j * 2 + 1];
        if ((yi > y) != (yj > y) && x < (xj - xi) * (y - yi) / (yj - yi) + xi)
            bInside = !bInside;
    }
    return bInside;
}

static void Disc(Canvas* c, float cx, float cy, float r, float cr, float cg, float cb, float ca = 1)
{
    float a[] = {cx, cy, r};
    Fill(c, ShapeDisc, a, cr, cg, cb, ca);
}

static void Ring(Canvas* c, float cx, float cy, float r0, float r1, float cr, float cg, float cb, float ca = 1)
{
    float a[] = {cx, cy, r0, r1};
    Fill(c, ShapeRing, a, cr, cg, cb, ca);
}

static void RoundRect(Canvas* c, float x0, float y0, float x1, float y1, float r, float cr, float cg, float cb,
                      float ca = 1)
{
    float a[] = {x0, y0, x1, y1, r};
    Fill(c, ShapeRoundRect, a, cr, cg, cb, ca);
}

static void Line(Canvas* c, float x0, float y0, float x1, float y1, float w, float cr, float cg, float cb,
                 float ca = 1)
{
    float a[] = {x0, y0, x1, y1, w / 2};
    Fill(c, ShapeLine, a, cr, cg, cb, ca);
}

static void Polygon(Canvas* c, int n, const float* pfPoints, float cr, float cg, float cb, float ca = 1)
{
    std::vector<float> a(1 + n * 2);
    a[0] = (float)n;
    memcpy(&a[1], pfPoints, n * 2 * sizeof(float));
    Fill(c, ShapePolygon, a.data(), cr, cg, cb, ca);
}

// ---------------------------------------------------------------------------------------------
// Files
// ---------------------------------------------------------------------------------------------

static const char* pstrOutDir;

static void MakeDirs(const char* pstrPath)
{
    char szPath[1024];
    snprintf(szPath, sizeof(szPath), "%s", pstrPath);
    for (char* p = szPath + 1; *p; p++)
        if (*p == '/') {
            *p = 0;
            mkdir(szPath, 0755);
            *p = '/';
        }
    mkdir(szPath, 0755);
}

static void WriteFile(const char* pstrName, const void* pData, size_t uiSize)
{
    char szPath[1024];
    snprintf(szPath, sizeof(szPath), "%s/%s", pstrOutDir, pstrName);
    FILE* pFile = fopen(szPath, "wb");
    if (!pFile || fwrite(pData, 1, uiSize, pFile) != uiSize) {
        fprintf(stderr, "make_data: can't write '%s'\n", szPath);
        exit(1);
    }
    fclose(pFile);
}

static uint8_t ToByte(float f)
{
    f = f < 0 ? 0 : (f > 1 ? 1 : f);
    return (uint8_t)lrintf(f * 255.0f);
}

// Uncompressed TGA, bottom-left origin: the first row in the file is the texture's row 0.
static void WriteTga(const char* pstrName, const Canvas* pCanvas, int iChannels)
{
    std::vector<uint8_t> data(18 + (size_t)pCanvas->iWidth * pCanvas->iHeight * iChannels);
    uint8_t* h = data.data();
    h[2] = 2;
    h[12] = (uint8_t)(pCanvas->iWidth & 255);
    h[13] = (uint8_t)(pCanvas->iWidth >> 8);
    h[14] = (uint8_t)(pCanvas->iHeight & 255);
    h[15] = (uint8_t)(pCanvas->iHeight >> 8);
    h[16] = (uint8_t)(iChannels * 8);
    h[17] = iChannels == 4 ? 8 : 0;
    uint8_t* pOut = h + 18;
    for (size_t i = 0; i < (size_t)pCanvas->iWidth * pCanvas->iHeight; i++) {
        const float* p = &pCanvas->afPixels[i * 4];
        float fAlpha = p[3];
        // colours were premultiplied while drawing; the file holds straight colours
        float fInv = fAlpha > 1e-6f ? 1.0f / fAlpha : 0.0f;
        if (iChannels == 3)
            fInv = 1.0f;
        *pOut++ = ToByte(p[2] * fInv);
        *pOut++ = ToByte(p[1] * fInv);
        *pOut++ = ToByte(p[0] * fInv);
        if (iChannels == 4)
            *pOut++ = ToByte(fAlpha);
    }
    WriteFile(pstrName, data.data(), data.size());
}

// ---------------------------------------------------------------------------------------------
// System images. Most are white shapes that the viewer tints with the current colour;
// a dark rim keeps them readable on any background.
// ---------------------------------------------------------------------------------------------

static void MakeCursor(void)
{
    // a classic arrow, tip at the top left corner of the 32 by 32 image
    Canvas c = NewCanvas(32, 32);
    const float afOutline[] = {1, 31, 1, 8.5f, 6.2f, 13.2f, 9.6f, 5.2f, 13.4f, 6.8f, 10.2f, 14.6f, 17.2f, 14.6f};
    const float afFill[] = {2.5f, 27.6f, 2.5f, 11.9f, 6.6f, 15.8f, 10.3f, 7.2f, 11.6f, 7.8f, 7.9f, 16.1f, 13.7f, 16.1f};
    Polygon(&c, 7, afOutline, 0, 0, 0);
    Polygon(&c, 7, afFill, 1, 1, 1);
    WriteTga("Data/Textures/System/Cursor.tga", &c, 4);
}

static void MakeCheck(void)
{
    Canvas c = NewCanvas(16, 16);
    Line(&c, 3, 8.5f, 6.5f, 4.5f, 2.6f, 1, 1, 1);
    Line(&c, 6.5f, 4.5f, 13, 12.5f, 2.6f, 1, 1, 1);
    WriteTga("Data/Textures/System/Check.tga", &c, 4);
}

// A layer's mark: an empty box for a hidden layer, a ticked one for a visible layer.
static void MakeLayerMarks(void)
{
    Canvas cHidden = NewCanvas(16, 16);
    RoundRect(&cHidden, 2, 2, 14, 3.5f, 0.5f, 1, 1, 1);
    RoundRect(&cHidden, 2, 12.5f, 14, 14, 0.5f, 1, 1, 1);
    RoundRect(&cHidden, 2, 2, 3.5f, 14, 0.5f, 1, 1, 1);
    RoundRect(&cHidden, 12.5f, 2, 14, 14, 0.5f, 1, 1, 1);
    WriteTga("Data/Textures/System/Cross.tga", &cHidden, 4);
    Canvas cShown = cHidden;
    Line(&cShown, 5, 8.2f, 7.2f, 5.6f, 2.0f, 1, 1, 1);
    Line(&cShown, 7.2f, 5.6f, 11.2f, 10.8f, 2.0f, 1, 1, 1);
    WriteTga("Data/Textures/System/Cross2.tga", &cShown, 4);
}

static void MakeRecordImages(void)
{
    // "Rec.tga" blinks over "Pause.tga" at the same place: a red dot left, pause bars right
    Canvas cRec = NewCanvas(64, 32);
    Disc(&cRec, 16, 16, 11, 0.25f, 0, 0);
    Disc(&cRec, 16, 16, 9.5f, 0.95f, 0.12f, 0.1f);
    Disc(&cRec, 13.5f, 19, 3, 1, 0.55f, 0.5f, 0.5f);
    WriteTga("Data/Textures/System/Rec.tga", &cRec, 4);
    Canvas cPause = NewCanvas(64, 32);
    RoundRect(&cPause, 36, 6, 44, 26, 1.5f, 0, 0, 0, 0.6f);
    RoundRect(&cPause, 48, 6, 56, 26, 1.5f, 0, 0, 0, 0.6f);
    RoundRect(&cPause, 37, 7, 43, 25, 1, 1, 1, 1);
    RoundRect(&cPause, 49, 7, 55, 25, 1, 1, 1, 1);
    WriteTga("Data/Textures/System/Pause.tga", &cPause, 4);
    // the gallery's recorder states: paused (a ring) and running (a full dot)
    Canvas cRecPause = NewCanvas(32, 32);
    Ring(&cRecPause, 16, 16, 11, 7.5f, 0.9f, 0.15f, 0.12f);
    RoundRect(&cRecPause, 12, 11, 14.5f, 21, 0.6f, 1, 1, 1);
    RoundRect(&cRecPause, 17.5f, 11, 20, 21, 0.6f, 1, 1, 1);
    WriteTga("Data/Textures/System/Recpause.tga", &cRecPause, 4);
    Canvas cRecPlay = NewCanvas(32, 32);
    Disc(&cRecPlay, 16, 16, 11, 0.95f, 0.12f, 0.1f);
    Disc(&cRecPlay, 13, 19.5f, 3, 1, 0.6f, 0.55f, 0.5f);
    WriteTga("Data/Textures/System/Recplay.tga", &cRecPlay, 4);
}

static void MakeGalleryIcons(void)
{
    Canvas cCamera = NewCanvas(32, 32);
    RoundRect(&cCamera, 3, 7, 29, 24, 3, 1, 1, 1);
    RoundRect(&cCamera, 10, 22, 19, 27, 1.5f, 1, 1, 1);
    Disc(&cCamera, 16, 15.5f, 6.5f, 0, 0, 0);
    Disc(&cCamera, 16, 15.5f, 4.5f, 1, 1, 1);
    Disc(&cCamera, 25, 21, 1.2f, 0, 0, 0);
    WriteTga("Data/Textures/System/Camera.tga", &cCamera, 4);

    Canvas cClip = NewCanvas(32, 32);
    RoundRect(&cClip, 4, 4, 28, 28, 2, 1, 1, 1);
    for (int i = 0; i < 5; i++) {
        float y = 6.5f + i * 4.5f;
        RoundRect(&cClip, 5.5f, y, 8.5f, y + 2.5f, 0.5f, 0, 0, 0);
        RoundRect(&cClip, 23.5f, y, 26.5f, y + 2.5f, 0.5f, 0, 0, 0);
    }
    const float afPlay[] = {13, 10.5f, 13, 21.5f, 21, 16};
    Polygon(&cClip, 3, afPlay, 0, 0, 0);
    WriteTga("Data/Textures/System/Clip.tga", &cClip, 4);

    // nothing selected: a dashed frame
    Canvas cNull = NewCanvas(32, 32);
    for (int i = 0; i < 4; i++) {
        float t = 5 + i * 6;
        RoundRect(&cNull, t, 4, t + 3.5f, 5.5f, 0.3f, 1, 1, 1, 0.8f);
        RoundRect(&cNull, t, 26.5f, t + 3.5f, 28, 0.3f, 1, 1, 1, 0.8f);
        RoundRect(&cNull, 4, t, 5.5f, t + 3.5f, 0.3f, 1, 1, 1, 0.8f);
        RoundRect(&cNull, 26.5f, t, 28, t + 3.5f, 0.3f, 1, 1, 1, 0.8f);
    }
    WriteTga("Data/Textures/System/Null.tga", &cNull, 4);
}

static void MakeGalleryPreview(void)
{
    // the empty gallery's picture: a dim landscape frame with a camera outline
    Canvas c = NewCanvas(256, 128);
    for (int y = 0; y < 128; y++)
        for (int x = 0; x < 256; x++) {
            float t = y / 127.0f;
            float* p = &c.afPixels[((size_t)y * 256 + x) * 4];
            p[0] = 0.16f + 0.10f * t;
            p[1] = 0.18f + 0.12f * t;
            p[2] = 0.22f + 0.16f * t;
            p[3] = 1;
        }
    const float afHills[] = {0, 0, 0, 40, 60, 58, 110, 44, 170, 62, 256, 38, 256, 0};
    Polygon(&c, 7, afHills, 0.12f, 0.14f, 0.15f);
    RoundRect(&c, 104, 44, 152, 80, 5, 0.55f, 0.58f, 0.62f);
    RoundRect(&c, 118, 78, 134, 87, 2, 0.55f, 0.58f, 0.62f);
    Disc(&c, 128, 62, 12, 0.22f, 0.25f, 0.3f);
    Disc(&c, 128, 62, 8, 0.55f, 0.58f, 0.62f);
    WriteTga("Data/Textures/System/Gallery.tga", &c, 4);
}

static void MakePlane(void)
{
    // the flying mark: an aeroplane seen from above, nose up
    Canvas c = NewCanvas(32, 32);
    const float afBody[] = {15, 3, 17, 3, 17.4f, 26, 16, 30, 14.6f, 26};
    const float afWings[] = {16, 20, 30, 12.5f, 30, 10, 16, 14, 2, 10, 2, 12.5f};
    const float afTail[] = {16, 7.5f, 21.5f, 3.5f, 21.5f, 2, 16, 4, 10.5f, 2, 10.5f, 3.5f};
    Polygon(&c, 5, afBody, 1, 1, 1);
    Polygon(&c, 6, afWings, 1, 1, 1);
    Polygon(&c, 6, afTail, 1, 1, 1);
    WriteTga("Data/Textures/System/Plane.tga", &c, 4);
}

static void MakeFlares(void)
{
    // the sun disc: white, with a soft rim in alpha so that the colour it is drawn in stays exact
    Canvas cDisc = NewCanvas(128, 128);
    for (int y = 0; y < 128; y++)
        for (int x = 0; x < 128; x++) {
            float dx = (x + 0.5f - 64) / 64, dy = (y + 0.5f - 64) / 64;
            float r = sqrtf(dx * dx + dy * dy);
            float fCore = r < 0.16f ? 1.0f : expf(-(r - 0.16f) * (r - 0.16f) * 60.0f);
            float fGlow = expf(-r * 4.0f) * 0.55f;
            float a = fCore > fGlow ? fCore : fGlow;
            if (r >= 1)
                a = 0;
            float* p = &cDisc.afPixels[((size_t)y * 128 + x) * 4];
            p[0] = p[1] = p[2] = a;
            p[3] = a;
        }
    WriteTga("Data/Textures/System/Flare.tga", &cDisc, 4);

    // the glow over the image, added as a screen: black means no change
    Canvas cGlow = NewCanvas(256, 256);
    for (int y = 0; y < 256; y++)
        for (int x = 0; x < 256; x++) {
            float dx = (x + 0.5f - 128) / 128, dy = (y + 0.5f - 128) / 128;
            float r = sqrtf(dx * dx + dy * dy);
            float fAngle = atan2f(dy, dx);
            float fHalo = expf(-r * r * 9.0f) * 0.9f;
            float fWide = expf(-r * 3.2f) * 0.28f;
            float fRing = expf(-(r - 0.62f) * (r - 0.62f) * 900.0f) * 0.09f;
            float fRays = powf(fabsf(cosf(fAngle * 6.0f)), 40.0f) * expf(-r * 5.0f) * 0.22f;
            float fEdge = r < 1 ? 1 - r * r * r * r : 0;
            float v = (fHalo + fWide + fRays) * fEdge;
            float* p = &cGlow.afPixels[((size_t)y * 256 + x) * 4];
            p[0] = (v + fRing * 0.7f) * fEdge;
            p[1] = (v * 0.93f + fRing * 0.9f) * fEdge;
            p[2] = (v * 0.78f + fRing) * fEdge;
            p[3] = 1;
        }
    WriteTga("Data/Textures/System/Flare2.tga", &cGlow, 3);
}

static void MakeExposure(void)
{
    // a neutral curve: the identity ramp, repeated to fill the table
    uint8_t aucTable[16384];
    for (int i = 0; i < 16384; i++)
        aucTable[i] = (uint8_t)(i & 255);
    WriteFile("Data/Textures/System/Exposure8.raw", aucTable, sizeof(aucTable));
}

// ---------------------------------------------------------------------------------------------
// Skybox
// ---------------------------------------------------------------------------------------------

struct Mat3 {
    float m[9]; // row major
};

static Mat3 Mul(const Mat3& a, const Mat3& b)
{
    Mat3 r;
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            r.m[i * 3 + j] = a.m[i * 3] * b.m[j] + a.m[i * 3 + 1] * b.m[3 + j] + a.m[i * 3 + 2] * b.m[6 + j];
    return r;
}

static Mat3 RotY(float fDeg)
{
    float c = cosf(fDeg * (float)M_PI / 180), s = sinf(fDeg * (float)M_PI / 180);
    Mat3 r = {{c, 0, s, 0, 1, 0, -s, 0, c}};
    return r;
}

static Mat3 RotX(float fDeg)
{
    float c = cosf(fDeg * (float)M_PI / 180), s = sinf(fDeg * (float)M_PI / 180);
    Mat3 r = {{1, 0, 0, 0, c, -s, 0, s, c}};
    return r;
}

static float Hash(int x, int y, int z)
{
    uint32_t h = (uint32_t)x * 374761393u + (uint32_t)y * 668265263u + (uint32_t)z * 2147483647u;
    h = (h ^ (h >> 13)) * 1274126177u;
    return (float)((h ^ (h >> 16)) & 0xFFFFFF) / (float)0xFFFFFF;
}

static float Smooth(float t)
{
    return t * t * (3 - 2 * t);
}

static float Noise3(float x, float y, float z)
{
    int ix = (int)floorf(x), iy = (int)floorf(y), iz = (int)floorf(z);
    float fx = Smooth(x - ix), fy = Smooth(y - iy), fz = Smooth(z - iz);
    float v[2][2][2];
    for (int a = 0; a < 2; a++)
        for (int b = 0; b < 2; b++)
            for (int c = 0; c < 2; c++)
                v[a][b][c] = Hash(ix + a, iy + b, iz + c);
    float x00 = v[0][0][0] + (v[1][0][0] - v[0][0][0]) * fx;
    float x10 = v[0][1][0] + (v[1][1][0] - v[0][1][0]) * fx;
    float x01 = v[0][0][1] + (v[1][0][1] - v[0][0][1]) * fx;
    float x11 = v[0][1][1] + (v[1][1][1] - v[0][1][1]) * fx;
    float y0 = x00 + (x10 - x00) * fy, y1 = x01 + (x11 - x01) * fy;
    return y0 + (y1 - y0) * fz;
}

static float Fbm(float x, float y, float z, int iOctaves)
{
    float fSum = 0, fAmp = 0.5f, fNorm = 0;
    for (int i = 0; i < iOctaves; i++) {
        fSum += Noise3(x, y, z) * fAmp;
        fNorm += fAmp;
        x = x * 2.03f + 17.1f;
        y = y * 2.03f + 5.7f;
        z = z * 2.03f + 9.3f;
        fAmp *= 0.5f;
    }
    return fSum / fNorm;
}

static float Mix(float a, float b, float t)
{
    return a + (b - a) * t;
}

// The colour of the sky in a direction (y up): a blue that pales towards the hazy
// horizon, cumulus on a cloud layer, and a dusky ground below.
static void SkyColour(float dx, float dy, float dz, float* pfRgb)
{
    if (dy < 0) {
        float t = powf(-dy, 0.45f);
        float n = Fbm(dx * 9, dy * 9, dz * 9, 4);
        pfRgb[0] = Mix(0.62f, 0.30f, t) * (0.9f + 0.2f * n);
        pfRgb[1] = Mix(0.66f, 0.33f, t) * (0.9f + 0.2f * n);
        pfRgb[2] = Mix(0.66f, 0.27f, t) * (0.9f + 0.2f * n);
        // the horizon haze carries a little below the horizon
        float fHaze = expf(dy * 40.0f);
        pfRgb[0] = Mix(pfRgb[0], 0.80f, fHaze);
        pfRgb[1] = Mix(pfRgb[1], 0.85f, fHaze);
        pfRgb[2] = Mix(pfRgb[2], 0.90f, fHaze);
        return;
    }
    float t = powf(dy, 0.5f);
    float r = Mix(0.80f, 0.22f, t), g = Mix(0.87f, 0.45f, t), b = Mix(0.95f, 0.82f, t);
    // clouds on a flat layer: project the direction onto a plane above the viewer
    float fPlane = 1.0f / (dy + 0.12f);
    float u = dx * fPlane * 1.6f, v = dz * fPlane * 1.6f;
    float n = Fbm(u, v, 0.5f, 6);
    float fCover = Smooth(fminf(fmaxf((n - 0.52f) / 0.22f, 0.0f), 1.0f));
    float fShade = Fbm(u + 0.35f, v + 0.35f, 3.5f, 4); // self-shadow under the cloud tops
    float fLit = 1.0f - 0.35f * Smooth(fminf(fmaxf((fShade - 0.45f) / 0.3f, 0.0f), 1.0f));
    float fFade = Smooth(fminf(dy * 6.0f, 1.0f)); // clouds thin out into the haze
    fCover *= fFade;
    float cr = 0.97f * fLit, cg = 0.97f * fLit, cb = 0.99f * fLit;
    pfRgb[0] = Mix(r, cr, fCover);
    pfRgb[1] = Mix(g, cg, fCover);
    pfRgb[2] = Mix(b, cb, fCover);
}

static void MakeSkybox(void)
{
    // The skybox draws its six quads at z = -1 in a frame that turns after each side;
    // the same turns here make every texel look the way the viewer will see it.
    static const char* apstrNames[6] = {"ZN", "XP", "ZP", "XN", "YP", "YN"};
    Mat3 m = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
    for (int iSide = 0; iSide < 6; iSide++) {
        Canvas c = NewCanvas(SKY_SIZE, SKY_SIZE);
        for (int y = 0; y < SKY_SIZE; y++)
            for (int x = 0; x < SKY_SIZE; x++) {
                float afRgb[3] = {0, 0, 0};
                // 2 by 2 samples per texel keep the cloud edges smooth
                for (int s = 0; s < 4; s++) {
                    float lx = -1 + 2 * (x + 0.25f + 0.5f * (s & 1)) / SKY_SIZE;
                    float ly = -1 + 2 * (y + 0.25f + 0.5f * (s >> 1)) / SKY_SIZE;
                    float lz = -1;
                    float afDir[3] = {m.m[0] * lx + m.m[1] * ly + m.m[2] * lz, m.m[3] * lx + m.m[4] * ly + m.m[5] * lz,
                                      m.m[6] * lx + m.m[7] * ly + m.m[8] * lz};
                    twVec_Normalize(afDir);
                    float afSample[3];
                    SkyColour(afDir[0], afDir[1], afDir[2], afSample);
                    for (int k = 0; k < 3; k++)
                        afRgb[k] += afSample[k] * 0.25f;
                }
                float* p = &c.afPixels[((size_t)y * SKY_SIZE + x) * 4];
                p[0] = afRgb[0];
                p[1] = afRgb[1];
                p[2] = afRgb[2];
                p[3] = 1;
            }
        char szName[128];
        snprintf(szName, sizeof(szName), "Data/Textures/Skybox/%s.tga", apstrNames[iSide]);
        WriteTga(szName, &c, 3);
        if (iSide == 3)
            m = Mul(Mul(m, RotY(-90)), RotX(90));
        else if (iSide == 4)
            m = Mul(m, RotX(180));
        else
            m = Mul(m, RotY(90));
    }
}

// ---------------------------------------------------------------------------------------------
// Settings and version
// ---------------------------------------------------------------------------------------------

static void MakeSettings(void)
{
    // the installed defaults, 26 items of 4 bytes
    int32_t aiInts[18] = {SETTINGS_VERSION, 1, 0, 1, 4, 3, 0, 1, 0, 1, 1, 0, 0, 1, 0, 0, 16, 315};
    float afFloats[8] = {0.0f, 0.6f, 1.0f, 0.25f, 1.6f, 80.0f, 2.0f, 0.15f};
    uint8_t aucFile[104];
    memcpy(aucFile, aiInts, sizeof(aiInts));
    memcpy(aucFile + sizeof(aiInts), afFloats, sizeof(afFloats));
    WriteFile("Data/Settings.bin", aucFile, sizeof(aucFile));
    uint32_t uiVersion = DATA_VERSION;
    WriteFile("Data/Version.bin", &uiVersion, 4);
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: make_data <output folder>\n");
        return 2;
    }
    pstrOutDir = argv[1];
    char szDir[1024];
    snprintf(szDir, sizeof(szDir), "%s/Data/Textures/System", pstrOutDir);
    MakeDirs(szDir);
    snprintf(szDir, sizeof(szDir), "%s/Data/Textures/Skybox", pstrOutDir);
    MakeDirs(szDir);
    MakeCursor();
    MakeCheck();
    MakeLayerMarks();
    MakeRecordImages();
    MakeGalleryIcons();
    MakeGalleryPreview();
    MakePlane();
    MakeFlares();
    MakeExposure();
    MakeSkybox();
    MakeSettings();
    return 0;
}
