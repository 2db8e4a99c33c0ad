// The GL layer drawn on the test display and read back: textures of each format, the
// system textures, frame buffers, text, screenshots, programs and buffers.
#include <gtest/gtest.h>
#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include <set>

#include "engine/log.h"
#include "engine/memory.h"
#include "platform/image.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "tests/support.h"

#define W 256
#define H 128

struct Gl : ::testing::Test {
    static std::string dir;
    static void SetUpTestSuite()
    {
        twHarness_StartGl(W, H);
        dir = twHarness_Dir();
    }
    static void TearDownTestSuite() { twHarness_StopGl(); }
    void SetUp() override
    {
        twTest_PixelView(W, H);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    static std::vector<uint8_t> ReadRgb(void)
    {
        std::vector<uint8_t> pixels(W * H * 3);
        glReadPixels(0, 0, W, H, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
        return pixels;
    }

    // the box of pixels whose red channel is lit: x0, y0, x1, y1, or all -1
    static void LitBox(const std::vector<uint8_t>& pixels, int* pBox)
    {
        pBox[0] = pBox[1] = pBox[2] = pBox[3] = -1;
        for (int y = 0; y < H; y++)
            for (int x = 0; x < W; x++)
                if (pixels[(y * W + x) * 3] > 0) {
                    if (pBox[0] < 0 || x < pBox[0])
                        pBox[0] = x;
                    if (pBox[1] < 0 || y < pBox[1])
                        pBox[1] = y;
                    pBox[2] = x > pBox[2] ? x : pBox[2];
                    pBox[3] = y > pBox[3] ? y : pBox[3];
                }
    }

    static FILE* OpenBytes(const std::string& name, const std::vector<uint8_t>& bytes)
    {
        twHarness_WriteFile(dir + name, bytes);
        return fopen((dir + name).c_str(), "rb");
    }

    static TwTexture* Load(const std::string& name, const std::vector<uint8_t>& bytes, int iInternalFormat = GL_RGBA)
    {
        FILE* pFile = OpenBytes(name, bytes);
        TwTexture* pTexture = twOgl_LoadTexture(name.c_str(), pFile, iInternalFormat, 0, 0, 0);
        fclose(pFile);
        return pTexture;
    }

    static std::vector<uint8_t> TexelsRgba(const TwTexture* pTexture)
    {
        std::vector<uint8_t> texels(pTexture->iWidth * pTexture->iHeight * 4);
        glBindTexture(GL_TEXTURE_2D, pTexture->hTexture);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
        return texels;
    }
};
std::string Gl::dir;

static std::vector<uint8_t> Tga(int iWidth, int iHeight, int iDepth, const std::vector<uint8_t>& data)
{
    std::vector<uint8_t> out(18, 0);
    out[2] = iDepth == 8 ? 3 : 2;
    out[12] = (uint8_t)iWidth;
    out[13] = (uint8_t)(iWidth >> 8);
    out[14] = (uint8_t)iHeight;
    out[15] = (uint8_t)(iHeight >> 8);
    out[16] = (uint8_t)iDepth;
    out[17] = iDepth == 32 ? 8 : 0;
    out.resize(18 + data.size());
    if (!data.empty())
        memcpy(&out[18], data.data(), data.size());
    return out;
}

// ---------------------------------------------------------------------------------------------
// Capabilities
// ---------------------------------------------------------------------------------------------

TEST_F(Gl, ReportsTheDriverAndOffersWhatTheViewerNeeds)
{
    std::string log = twTest_ReadLog();
    size_t uiRenderer = log.find("  Renderer = ");
    size_t uiSize = log.find("  Maximum supported texture size = ");
    size_t uiSwap = log.find("  WGL_EXT_swap_control = ");
    ASSERT_NE(uiRenderer, std::string::npos);
    EXPECT_LT(uiRenderer, uiSize);
    EXPECT_LT(uiSize, uiSwap);
    EXPECT_NE(log.find("Window size = 256 x 128\n"), std::string::npos);
    EXPECT_NE(log.find("Video memory installed = "), std::string::npos);
    EXPECT_EQ(twOgl_HasFbo() && twOgl_HasNpot() && twOgl_HasFragmentPrograms() && twOgl_HasVertexPrograms() &&
                  twOgl_HasShadow() && twOgl_HasVbo(),
              1);
    EXPECT_STREQ(twOgl_GetFormatName(GL_RGBA8), "GL_RGBA8");
    EXPECT_STREQ(twOgl_GetFormatName(GL_COMPRESSED_RGB_S3TC_DXT1_EXT), "GL_COMPRESSED_RGB_S3TC_DXT1_EXT");
    EXPECT_STREQ(twOgl_GetFormatName(0x1234), "0x1234");
}

// ---------------------------------------------------------------------------------------------
// Textures
// ---------------------------------------------------------------------------------------------

TEST_F(Gl, TexturesOfEachFormatHoldTheirTexels)
{
    // TGA with alpha, in the file's blue-green-red order
    TwTexture* pTga = Load("a.tga", Tga(2, 2, 32, {10, 20, 30, 40, 50, 60, 70, 80, 1, 2, 3, 4, 5, 6, 7, 8}));
    ASSERT_NE(pTga, nullptr);
    EXPECT_EQ(TexelsRgba(pTga), (std::vector<uint8_t>{30, 20, 10, 40, 70, 60, 50, 80, 3, 2, 1, 4, 7, 6, 5, 8}));
    EXPECT_EQ(pTga->uiNumBytes, 16u);

    // BMP, three channels
    std::vector<uint8_t> bgr = {0, 0, 255, 0, 255, 0, 255, 0, 0, 9, 9, 9};
    twBmp_Write((dir + "b.bmp").c_str(), 2, 2, 3, bgr.data());
    std::string bmp = twHarness_ReadFile(dir + "b.bmp");
    TwTexture* pBmp = Load("b.bmp", std::vector<uint8_t>(bmp.begin(), bmp.end()));
    ASSERT_NE(pBmp, nullptr);
    EXPECT_EQ(TexelsRgba(pBmp), (std::vector<uint8_t>{255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 9, 9, 9, 255}));
    EXPECT_TRUE(twTest_LogHas("Image is bmp\n"));

    // luminance TGA
    TwTexture* pGrey = Load("g.TGA", Tga(4, 1, 8, {0, 85, 170, 255}), GL_LUMINANCE);
    ASSERT_NE(pGrey, nullptr);
    std::vector<uint8_t> grey = TexelsRgba(pGrey);
    EXPECT_EQ(grey[4], 85);
    EXPECT_EQ(grey[12], 255);

    // DXT1: one block, both end colours red, every index 0
    std::vector<uint8_t> dds(128, 0);
    memcpy(&dds[0], "DDS ", 4);
    int iSide = 4;
    memcpy(&dds[12], &iSide, 4);
    memcpy(&dds[16], &iSide, 4);
    memcpy(&dds[84], "DXT1", 4);
    const uint8_t aucBlock[8] = {0x00, 0xF8, 0x00, 0xF8, 0, 0, 0, 0};
    dds.resize(136);
    memcpy(&dds[128], aucBlock, 8);
    TwTexture* pDxt = Load("c.dds", dds);
    ASSERT_NE(pDxt, nullptr);
    EXPECT_EQ(pDxt->iInternalFormat, GL_COMPRESSED_RGB_S3TC_DXT1_EXT);
    EXPECT_EQ(pDxt->uiNumBytes, 8u);
    std::vector<uint8_t> dxt = TexelsRgba(pDxt);
    EXPECT_EQ(dxt[0], 255);
    EXPECT_EQ(dxt[1], 0);
    EXPECT_EQ(dxt[2], 0);
    EXPECT_TRUE(twTest_LogHas("  Created format = GL_COMPRESSED_RGB_S3TC_DXT1_EXT\n"));

    uint32_t uiBefore = pOgl->uiTextureBytes;
    for (TwTexture* p : {pTga, pBmp, pGrey, pDxt})
        twOgl_FreeTexture(p);
    EXPECT_EQ(pOgl->uiTextureBytes, uiBefore - 16 - 16 - 16 - 8);
    EXPECT_EQ(twOgl_FreeTexture(nullptr), 0);
}

TEST_F(Gl, ImagesAreReducedToPowersOfTwo)
{
    // 640 x 480 becomes 512 x 256 by the box rule
    std::vector<uint8_t> pixels(640 * 480 * 3, 128);
    TwTexture* pTexture = Load("big.tga", Tga(640, 480, 24, pixels), GL_RGB);
    ASSERT_NE(pTexture, nullptr);
    EXPECT_EQ(pTexture->iWidth, 512);
    EXPECT_EQ(pTexture->iHeight, 256);
    EXPECT_TRUE(twTest_LogHas("Image was rescaled from 640 x 480 to 512 x 256\n"));
    EXPECT_EQ(TexelsRgba(pTexture)[0], 128);
    twOgl_FreeTexture(pTexture);
}

TEST_F(Gl, BadImagesFailWithTheirLine)
{
    EXPECT_EQ(Load("m.Bmp", Tga(2, 2, 24, std::vector<uint8_t>(12))), nullptr);
    EXPECT_TRUE(twTest_LogHas("Unsupported texture format for 'm.Bmp'\n"));
    EXPECT_EQ(Load("two.tga", Tga(2, 2, 16, std::vector<uint8_t>(8))), nullptr);
    EXPECT_TRUE(twTest_LogHas("!Invalid channel count 2 for 'two.tga'\n"));
    // a small side that is no power of two has no size to go to
    EXPECT_EQ(Load("six.tga", Tga(6, 4, 24, std::vector<uint8_t>(72))), nullptr);
    EXPECT_TRUE(twTest_LogHas("!twCore_ComputePow2Dim : 'six.tga'\n"));
    // a header that promises more than the temp buffer holds
    EXPECT_EQ(Load("huge.tga", Tga(16384, 16384, 32, {1, 2, 3, 4})), nullptr);
    EXPECT_TRUE(twTest_LogHas("!twMem_GetTempBuffer\n"));
    // a header that promises more than the file holds
    EXPECT_EQ(Load("short.tga", Tga(64, 64, 24, {1, 2, 3})), nullptr);
    EXPECT_TRUE(twTest_LogHas("!Unreadable image data for 'short.tga'\n"));
    std::vector<uint8_t> dds(128, 0);
    memcpy(&dds[0], "DDS ", 4);
    int iSide = 6;
    memcpy(&dds[12], &iSide, 4);
    memcpy(&dds[16], &iSide, 4);
    memcpy(&dds[84], "DXT5", 4);
    dds.resize(128 + 64);
    EXPECT_EQ(Load("odd.dds", dds), nullptr);
    EXPECT_TRUE(twTest_LogHas("Dxt image 'odd.dds' not powers of two\n"));
}

TEST_F(Gl, SystemTexturesAndNormalizationCube)
{
    std::vector<uint8_t> texels(64 * 64);
    glBindTexture(GL_TEXTURE_2D, twOgl_GetDefaultTexture()->hTexture);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE, texels.data());
    // signed bytes: 88 on the rim, 45 inside, 89 in the mark
    EXPECT_NEAR(texels[0], 88 * 255 / 127, 1);
    EXPECT_NEAR(texels[10 * 64 + 10], 45 * 255 / 127, 1);
    EXPECT_NEAR(texels[60 * 64 + 6], 89 * 255 / 127, 1);
    EXPECT_NEAR(texels[57 * 64 + 12], 89 * 255 / 127, 1);
    EXPECT_NEAR(texels[58 * 64 + 11], 45 * 255 / 127, 1);
    glBindTexture(GL_TEXTURE_2D, twOgl_GetWhiteTexture()->hTexture);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE, texels.data());
    EXPECT_EQ(texels[100], 255);

    std::vector<uint8_t> face(256 * 256 * 3);
    glBindTexture(GL_TEXTURE_CUBE_MAP, twOgl_GetNormalizationCube());
    for (int iFace = 0; iFace < 6; iFace++) {
        glGetTexImage(GL_TEXTURE_CUBE_MAP_POSITIVE_X + iFace, 0, GL_RGB, GL_UNSIGNED_BYTE, face.data());
        // the face's middle points along its axis: 254 on the axis, 127 across it
        const uint8_t* pMid = &face[(128 * 256 + 128) * 3];
        int iAxis = iFace / 2;
        int iExpected = iFace % 2 ? 0 : 254;
        EXPECT_NEAR(pMid[iAxis], iExpected, 1) << "face " << iFace;
        EXPECT_NEAR(pMid[(iAxis + 1) % 3], 127, 1) << "face " << iFace;
    }
    // the first texel of +X, computed as the builder does
    glGetTexImage(GL_TEXTURE_CUBE_MAP_POSITIVE_X, 0, GL_RGB, GL_UNSIGNED_BYTE, face.data());
    float v[3] = {128.0f, 127.5f, 127.5f};
    float fLen = sqrtf(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    for (int k = 0; k < 3; k++)
        EXPECT_EQ(face[k], (uint8_t)(int)(127.0f * v[k] / fLen + 127.0f));
    glBindTexture(GL_TEXTURE_CUBE_MAP, 0);
}

TEST_F(Gl, FrameBuffersTakeTheDrawing)
{
    TwFbo* pFbo = twOgl_CreateFbo("test", 64, 32, 1, 0);
    ASSERT_NE(pFbo, nullptr);
    EXPECT_NE(pFbo->hDepthBuffer, 0u);
    EXPECT_STREQ(pFbo->pTexture->szName, "FboTex");
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hFbo);
    EXPECT_EQ(glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT), (GLenum)GL_FRAMEBUFFER_COMPLETE_EXT);
    glViewport(0, 0, 64, 32);
    glClearColor(0, 1, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    uint8_t aucPixel[4];
    glReadPixels(10, 10, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, aucPixel);
    EXPECT_EQ(aucPixel[1], 255);
    EXPECT_EQ(aucPixel[0], 0);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    std::vector<uint8_t> texels = TexelsRgba(pFbo->pTexture);
    EXPECT_EQ(texels[1], 255);
    EXPECT_EQ(twOgl_FreeFbo(pFbo), 1);
}

// ---------------------------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------------------------

TEST_F(Gl, TextAppearsWhereAndAsWideAsMeasured)
{
    glColor3f(1, 0, 0);
    twOgl_DrawText(0, 20, 30, "Ambulon walks");
    std::vector<uint8_t> pixels = ReadRgb();
    int aiBox[4];
    LitBox(pixels, aiBox);
    int iWidth = twOgl_GetTextWidth(0, "Ambulon walks");
    ASSERT_GT(iWidth, 40);
    EXPECT_GE(aiBox[0], 20);
    EXPECT_LE(aiBox[0], 22);
    EXPECT_LE(aiBox[2], 20 + iWidth);
    EXPECT_GE(aiBox[2], 20 + iWidth - 4);
    // the glyphs hang from the top of the 16-pixel bitmap
    EXPECT_GE(aiBox[1], 30);
    EXPECT_LE(aiBox[3], 30 + 15);
    EXPECT_GE(aiBox[3], 30 + 8);
    // in the current colour, its edges blended over the background in grey levels
    std::set<int> levels;
    for (size_t i = 0; i < pixels.size(); i += 3) {
        levels.insert(pixels[i]);
        EXPECT_EQ(pixels[i + 1], 0);
    }
    EXPECT_GT(levels.size(), 8u);
    EXPECT_EQ(*levels.rbegin(), 255);
    EXPECT_EQ(twOgl_GetTextWidth(3, "x"), 0);
    EXPECT_GT(twOgl_GetTextWidth(1, "Ambulon"), twOgl_GetTextWidth(0, "Ambulon"));
}

TEST_F(Gl, BigFontSitsSixteenPixelsLowerAndFontThreeDrawsNothing)
{
    glColor3f(1, 1, 1);
    twOgl_DrawText(1, 10, 60, "H");
    int aiBox[4];
    LitBox(ReadRgb(), aiBox);
    EXPECT_GE(aiBox[1], 60 - 16);
    EXPECT_LE(aiBox[3], 60 + 16);
    EXPECT_GT(aiBox[3] - aiBox[1], 12); // a 24-pixel capital
    glClear(GL_COLOR_BUFFER_BIT);
    twOgl_DrawText(3, 10, 60, "H");
    LitBox(ReadRgb(), aiBox);
    EXPECT_EQ(aiBox[0], -1);
}

TEST_F(Gl, LongPathsKeepTheirTail)
{
    twOgl_SetTextMaxWidth(120);
    const char* pstrPath = "/home/architect/projects/2026/a very long folder name/house.bin";
    glColor3f(1, 1, 1);
    twOgl_DrawText(0, 0, 10, pstrPath);
    int aiBox[4];
    LitBox(ReadRgb(), aiBox);
    // the drawn text is the longest tail from a separator that fits
    int iTail = twOgl_GetTextWidth(0, "/house.bin");
    EXPECT_GE(aiBox[0], 0);
    EXPECT_LE(aiBox[2], iTail);
    EXPECT_GE(aiBox[2], iTail - 4);
    // without a separator a text too wide draws nothing
    glClear(GL_COLOR_BUFFER_BIT);
    twOgl_DrawText(0, 0, 10, "Averyveryverylongwordwithoutanyfolderseparatorsatall");
    LitBox(ReadRgb(), aiBox);
    EXPECT_EQ(aiBox[0], -1);
    twOgl_SetTextMaxWidth(720);
}

// ---------------------------------------------------------------------------------------------
// Screenshots, drawing helpers, programs and buffers
// ---------------------------------------------------------------------------------------------

TEST_F(Gl, ScreenshotWritesTheBackBufferAsBgrBottomUp)
{
    glClearColor(0, 0, 1, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    glColor3f(1, 0, 0);
    twOgl_DrawRect(0, 0, 3, 2, 0);
    std::string path = dir + "shot.bmp";
    ASSERT_EQ(twOgl_Screenshot(path.c_str(), nullptr, 0), 1);
    std::string file = twHarness_ReadFile(path);
    ASSERT_EQ(file.size(), 54u + W * H * 3);
    TwBmpHeader header;
    memcpy(&header, file.data(), 54);
    EXPECT_EQ(+header.iWidth, W);
    EXPECT_EQ(+header.iHeight, H);
    EXPECT_EQ(+header.usBitsPerPixel, 24);
    // first pixel: bottom left, red, as blue-green-red
    EXPECT_EQ((uint8_t)file[54], 0);
    EXPECT_EQ((uint8_t)file[56], 255);
    // the pixel above the rectangle is blue
    size_t uiAbove = 54 + (2 * W + 0) * 3;
    EXPECT_EQ((uint8_t)file[uiAbove], 255);
    EXPECT_EQ((uint8_t)file[uiAbove + 2], 0);
    // the fallback path is taken when the first can't be written
    std::string fallback = dir + "fallback.bmp";
    ASSERT_EQ(twOgl_Screenshot((dir + "missing/shot.bmp").c_str(), fallback.c_str(), 0), 1);
    EXPECT_EQ(twHarness_ReadFile(fallback), file);
    EXPECT_EQ(twOgl_Screenshot(nullptr, (dir + "missing/x.bmp").c_str(), 0), 0);
    EXPECT_TRUE(twTest_LogHas("twOgl_Screenshot\n  !twBmp_Write\n"));
}

// A frame buffer's multisampled twin smooths a slanted edge into grey levels; without it
// the edge has the two colours alone
TEST_F(Gl, ASampledTwinSmoothsASlantedEdge)
{
    for (int bTwin = 1; bTwin >= 0; bTwin--) {
        TwFbo* pFbo = twOgl_CreateFbo("Edge", 64, 64, 1, 0);
        ASSERT_NE(pFbo, nullptr);
        if (bTwin) {
            ASSERT_EQ(twOgl_AddSamples(pFbo, 64, 64, 4), 4);
        }
        twOgl_BindSampled(pFbo);
        twTest_PixelView(64, 64);
        glClearColor(0, 0, 1, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glColor3f(1, 0, 0);
        glBegin(GL_TRIANGLES);
        glVertex2f(0, 0);
        glVertex2f(64, 0);
        glVertex2f(0, 41.3f);
        glEnd();
        twOgl_ResolveSamples(pFbo);
        std::vector<uint8_t> pixels(64 * 64 * 4);
        glReadPixels(0, 0, 64, 64, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
        int iBetween = 0;
        for (size_t i = 0; i < pixels.size(); i += 4)
            iBetween += pixels[i] > 0 && pixels[i] < 255;
        EXPECT_TRUE(bTwin ? iBetween > 40 : iBetween == 0) << iBetween << " pixels between the colours";
        twOgl_FreeFbo(pFbo);
    }
    glViewport(0, 0, W, H);
}

TEST_F(Gl, ImagesDrawAtTheirOwnSizeWhenGivenNone)
{
    std::vector<uint8_t> white(8 * 4 * 3, 255);
    TwTexture* pTexture = Load("w.tga", Tga(8, 4, 24, white), GL_RGB);
    ASSERT_NE(pTexture, nullptr);
    glColor3f(1, 1, 1);
    twOgl_DrawImage(10, 20, 0, 0, pTexture, 0);
    int aiBox[4];
    LitBox(ReadRgb(), aiBox);
    EXPECT_EQ(aiBox[0], 10);
    EXPECT_EQ(aiBox[1], 20);
    EXPECT_EQ(aiBox[2], 17);
    EXPECT_EQ(aiBox[3], 23);
    twOgl_FreeTexture(pTexture);
}

TEST_F(Gl, ProgramErrorsAreReportedTwice)
{
    const char* pstrGood = "!!ARBvp1.0\nMOV result.position, vertex.position;\nEND\n";
    uint32_t hProgram = 0;
    EXPECT_EQ(twOgl_CreateVertexProgram(pstrGood, (int)strlen(pstrGood), &hProgram), 1);
    EXPECT_NE(hProgram, 0u);
    const char* pstrFragment = "!!ARBfp1.0\nMOV result.color, fragment.color;\nEND\n";
    EXPECT_EQ(twOgl_CreateFragmentProgram(pstrFragment, (int)strlen(pstrFragment), &hProgram), 1);
    const char* pstrBad = "!!ARBvp1.0\nMOVE result.position, vertex.position;\nEND\n";
    EXPECT_EQ(twOgl_CreateVertexProgram(pstrBad, (int)strlen(pstrBad), &hProgram), 0);
    glBindProgramARB(GL_VERTEX_PROGRAM_ARB, 0);
    std::string log = twTest_ReadLog();
    size_t uiFirst = log.find("Error at position");
    ASSERT_NE(uiFirst, std::string::npos);
    EXPECT_NE(log.find("Error at position", uiFirst + 1), std::string::npos);
}

TEST_F(Gl, VertexBuffersHoldTheirBytes)
{
    const uint8_t aucData[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    uint32_t hVbo = twOgl_CreateVbo(0, 0, 16, aucData);
    ASSERT_NE(hVbo, 0u);
    const uint8_t aucPatch[4] = {99, 98, 97, 96};
    twOgl_UpdateVbo(hVbo, 0, 4, 4, aucPatch);
    uint8_t aucOut[16];
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, hVbo);
    glGetBufferSubDataARB(GL_ARRAY_BUFFER_ARB, 0, 16, aucOut);
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
    EXPECT_EQ(aucOut[3], 4);
    EXPECT_EQ(aucOut[4], 99);
    EXPECT_EQ(aucOut[8], 9);
    uint32_t hIndices = twOgl_CreateVbo(0, 1, 8, aucData);
    EXPECT_NE(hIndices, 0u);
    EXPECT_EQ(twOgl_FreeVbo(hVbo), 1);
    EXPECT_EQ(twOgl_FreeVbo(hIndices), 1);
    EXPECT_EQ(twOgl_FreeVbo(0), 1);
}

TEST_F(Gl, LookAlongFacesTheDirection)
{
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    const float afEye[3] = {1, 2, 3}, afDir[3] = {1, 0, 0}, afUp[3] = {0, 1, 0};
    twOgl_LookAlong(afEye, afDir, afUp);
    float m[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, m);
    // looking along +X: the world's +X becomes the view's -Z, and the eye the origin
    float x = 5, y = 2, z = 3;
    float vx = m[0] * x + m[4] * y + m[8] * z + m[12];
    float vy = m[1] * x + m[5] * y + m[9] * z + m[13];
    float vz = m[2] * x + m[6] * y + m[10] * z + m[14];
    EXPECT_NEAR(vx, 0, 1e-5);
    EXPECT_NEAR(vy, 0, 1e-5);
    EXPECT_NEAR(vz, -4, 1e-5);
    glLoadIdentity();
}
