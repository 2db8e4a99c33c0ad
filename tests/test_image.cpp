// Image files: the three readers on streams inside a pack, the BMP writer, the size
// helpers and the resampler.
#include <gtest/gtest.h>
#include <GL/glew.h>
#include <string.h>

#include "engine/log.h"
#include "platform/image.h"
#include "tests/support.h"

struct Images : ::testing::Test {
    std::string dir;
    void SetUp() override { dir = twHarness_StartServices(); }
    void TearDown() override { twHarness_StopServices(); }

    // opens bytes as a stream that starts 37 bytes into a file, as a pack resource does
    FILE* OpenInside(const std::vector<uint8_t>& bytes)
    {
        std::vector<uint8_t> file(37 + bytes.size() + 11, 0xEE);
        if (!bytes.empty())
            memcpy(&file[37], bytes.data(), bytes.size());
        std::string path = dir + "image.bin";
        twHarness_WriteFile(path, file);
        FILE* pFile = fopen(path.c_str(), "rb");
        fseek(pFile, 37, SEEK_SET);
        return pFile;
    }
};

static std::vector<uint8_t> Tga(int iType, int iWidth, int iHeight, int iDepth, int iDescriptor,
                                const std::vector<uint8_t>& data)
{
    std::vector<uint8_t> out(18, 0);
    out[2] = (uint8_t)iType;
    out[12] = (uint8_t)iWidth;
    out[13] = (uint8_t)(iWidth >> 8);
    out[14] = (uint8_t)iHeight;
    out[15] = (uint8_t)(iHeight >> 8);
    out[16] = (uint8_t)iDepth;
    out[17] = (uint8_t)iDescriptor;
    out.resize(18 + data.size());
    if (!data.empty())
        memcpy(&out[18], data.data(), data.size());
    return out;
}

static std::vector<uint8_t> Dds(const char* pstrFourCC, int iWidth, int iHeight, int iLevels, int iDataBytes)
{
    std::vector<uint8_t> out(128, 0);
    memcpy(&out[0], "DDS ", 4);
    memcpy(&out[12], &iHeight, 4);
    memcpy(&out[16], &iWidth, 4);
    memcpy(&out[28], &iLevels, 4);
    memcpy(&out[84], pstrFourCC, 4);
    out.resize(128 + iDataBytes, 0x5A);
    return out;
}

// ---------------------------------------------------------------------------------------------
// BMP
// ---------------------------------------------------------------------------------------------

TEST_F(Images, BmpRoundTripSwapsToRgbInsideAPack)
{
    // 4 x 2, three channels, written as BGR bottom-up
    std::vector<uint8_t> bgr;
    for (int i = 0; i < 8; i++) {
        bgr.push_back((uint8_t)(10 + i)); // blue
        bgr.push_back((uint8_t)(100 + i));
        bgr.push_back((uint8_t)(200 + i)); // red
    }
    ASSERT_EQ(twBmp_Write((dir + "a.bmp").c_str(), 4, 2, 3, bgr.data()), 1);
    std::string file = twHarness_ReadFile(dir + "a.bmp");
    ASSERT_EQ(file.size(), 54u + 24u);
    TwBmpHeader header;
    memcpy(&header, file.data(), 54);
    EXPECT_EQ(+header.usMagic, 0x4D42);
    EXPECT_EQ(+header.uiFileSize, 78u);
    EXPECT_EQ(+header.uiDataOffset, 54u);
    EXPECT_EQ(+header.usBitsPerPixel, 24);
    EXPECT_EQ(+header.uiImageSize, 24u);

    FILE* pFile = OpenInside(std::vector<uint8_t>(file.begin(), file.end()));
    int w, h, c;
    ASSERT_EQ(twBmp_ReadHeader(pFile, &w, &h, &c), 1);
    EXPECT_EQ(w, 4);
    EXPECT_EQ(h, 2);
    EXPECT_EQ(c, 3);
    uint8_t aucOut[24];
    ASSERT_EQ(twBmp_ReadData(pFile, 24, aucOut), 1);
    fclose(pFile);
    for (int i = 0; i < 8; i++) {
        EXPECT_EQ(aucOut[i * 3], 200 + i);
        EXPECT_EQ(aucOut[i * 3 + 1], 100 + i);
        EXPECT_EQ(aucOut[i * 3 + 2], 10 + i);
    }
}

TEST_F(Images, BmpWithAlphaAndLuminance)
{
    uint8_t aucBgra[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    twBmp_Write((dir + "b.bmp").c_str(), 2, 1, 4, aucBgra);
    std::string file = twHarness_ReadFile(dir + "b.bmp");
    FILE* pFile = OpenInside(std::vector<uint8_t>(file.begin(), file.end()));
    int w, h, c;
    twBmp_ReadHeader(pFile, &w, &h, &c);
    EXPECT_EQ(c, 4);
    uint8_t aucOut[8];
    ASSERT_EQ(twBmp_ReadData(pFile, 8, aucOut), 1);
    const uint8_t aucRgba[8] = {3, 2, 1, 4, 7, 6, 5, 8};
    EXPECT_EQ(memcmp(aucOut, aucRgba, 8), 0);
    fclose(pFile);

    uint8_t aucGrey[4] = {9, 8, 7, 6};
    twBmp_Write((dir + "g.bmp").c_str(), 4, 1, 1, aucGrey);
    file = twHarness_ReadFile(dir + "g.bmp");
    pFile = OpenInside(std::vector<uint8_t>(file.begin(), file.end()));
    twBmp_ReadHeader(pFile, &w, &h, &c);
    ASSERT_EQ(twBmp_ReadData(pFile, 4, aucOut), 1);
    EXPECT_EQ(memcmp(aucOut, aucGrey, 4), 0);
    fclose(pFile);
}

TEST_F(Images, BmpPaddedRowsReadSkewed)
{
    // width 3 at 24 bits has rows of 9 bytes padded to 12: the reader ignores padding
    std::vector<uint8_t> file(54, 0);
    TwBmpHeader header;
    memset(&header, 0, sizeof(header));
    header.usMagic = 0x4D42;
    header.uiDataOffset = 54;
    header.uiHeaderSize = 40;
    header.iWidth = 3;
    header.iHeight = 2;
    header.usBitsPerPixel = 24;
    memcpy(file.data(), &header, 54);
    for (int i = 0; i < 24; i++)
        file.push_back((uint8_t)i);
    FILE* pFile = OpenInside(file);
    int w, h, c;
    twBmp_ReadHeader(pFile, &w, &h, &c);
    uint8_t aucOut[18];
    ASSERT_EQ(twBmp_ReadData(pFile, 18, aucOut), 1);
    // the second row starts at byte 9, not at the padded 12
    EXPECT_EQ(aucOut[9], 11);
    EXPECT_EQ(aucOut[11], 9);
    fclose(pFile);
}

TEST_F(Images, BmpMismatchesAndShortDataFail)
{
    uint8_t aucPixels[12] = {0};
    twBmp_Write((dir + "c.bmp").c_str(), 2, 2, 3, aucPixels);
    std::string file = twHarness_ReadFile(dir + "c.bmp");
    FILE* pFile = OpenInside(std::vector<uint8_t>(file.begin(), file.end()));
    int w, h, c;
    twBmp_ReadHeader(pFile, &w, &h, &c);
    uint8_t aucOut[16];
    EXPECT_EQ(twBmp_ReadData(pFile, 16, aucOut), 0);
    EXPECT_TRUE(twTest_LogHas("twBmp_ReadData\n  !byte count mismatch\n"));
    fclose(pFile);

    // a data offset far behind the end of the file
    std::vector<uint8_t> bad(file.begin(), file.end());
    uint32_t uiFar = 0x7FFFFF00;
    memcpy(&bad[10], &uiFar, 4);
    pFile = OpenInside(bad);
    twBmp_ReadHeader(pFile, &w, &h, &c);
    EXPECT_EQ(twBmp_ReadData(pFile, 12, aucOut), 0);
    EXPECT_TRUE(twTest_LogHas("!fread\n"));
    fclose(pFile);

    // a header cut short
    twHarness_WriteFile(dir + "cut.bmp", std::vector<uint8_t>(file.begin(), file.begin() + 20));
    pFile = fopen((dir + "cut.bmp").c_str(), "rb");
    EXPECT_EQ(twBmp_ReadHeader(pFile, &w, &h, &c), 0);
    fclose(pFile);

    EXPECT_EQ(twBmp_Write((dir + "no/such/folder.bmp").c_str(), 2, 2, 3, aucPixels), 0);
    EXPECT_TRUE(twTest_LogHas("!fopen : '" + dir + "no/such/folder.bmp'\n"));
}

// ---------------------------------------------------------------------------------------------
// TGA
// ---------------------------------------------------------------------------------------------

TEST_F(Images, TgaPlainSwapsAndIgnoresOrigin)
{
    std::vector<uint8_t> bgra = {1, 2, 3, 4, 5, 6, 7, 8};
    // descriptor 0x28: top-left origin and 8 alpha bits; the origin bit is ignored
    FILE* pFile = OpenInside(Tga(2, 2, 1, 32, 0x28, bgra));
    int w = 0, h = 0, c = 0;
    ASSERT_EQ(twTga_ReadHeader(pFile, &w, &h, &c), 1);
    EXPECT_EQ(w, 2);
    EXPECT_EQ(c, 4);
    uint8_t aucOut[8];
    ASSERT_EQ(twTga_ReadData(pFile, 8, aucOut), 1);
    const uint8_t aucRgba[8] = {3, 2, 1, 4, 7, 6, 5, 8};
    EXPECT_EQ(memcmp(aucOut, aucRgba, 8), 0);
    fclose(pFile);

    pFile = OpenInside(Tga(3, 3, 1, 8, 0, {7, 8, 9}));
    ASSERT_EQ(twTga_ReadHeader(pFile, nullptr, nullptr, &c), 1);
    EXPECT_EQ(c, 1);
    ASSERT_EQ(twTga_ReadData(pFile, 3, aucOut), 1);
    EXPECT_EQ(aucOut[0], 7);
    EXPECT_EQ(aucOut[2], 9);
    fclose(pFile);
}

TEST_F(Images, TgaRunLengthLeavesALoneLastPixel)
{
    // 4 pixels of 3 bytes: a run of 2, a raw packet of 1, and a lone last pixel
    std::vector<uint8_t> data = {0x81, 10, 20, 30, 0x00, 40, 50, 60, 0x00, 70, 80, 90};
    FILE* pFile = OpenInside(Tga(10, 4, 1, 24, 0, data));
    int w, h, c;
    twTga_ReadHeader(pFile, &w, &h, &c);
    uint8_t aucOut[12];
    memset(aucOut, 0xAB, sizeof(aucOut));
    ASSERT_EQ(twTga_ReadData(pFile, 12, aucOut), 1);
    const uint8_t aucExpected[9] = {30, 20, 10, 30, 20, 10, 60, 50, 40};
    EXPECT_EQ(memcmp(aucOut, aucExpected, 9), 0);
    // the last pixel stays as the buffer held it (and the swap turned it)
    EXPECT_EQ(aucOut[9], 0xAB);
    fclose(pFile);
}

TEST_F(Images, TgaRejectsBadTypesDepthsAndRunsPastTheEnd)
{
    uint8_t aucOut[16];
    FILE* pFile = OpenInside(Tga(1, 1, 1, 24, 0, {1, 2, 3}));
    twTga_ReadHeader(pFile, nullptr, nullptr, nullptr);
    EXPECT_EQ(twTga_ReadData(pFile, 3, aucOut), 0);
    EXPECT_TRUE(twTest_LogHas("!invalid image type=1\n"));
    fclose(pFile);

    pFile = OpenInside(Tga(2, 1, 1, 32, 4, {1, 2, 3, 4}));
    twTga_ReadHeader(pFile, nullptr, nullptr, nullptr);
    EXPECT_EQ(twTga_ReadData(pFile, 4, aucOut), 0);
    EXPECT_TRUE(twTest_LogHas("!invalid alphadepth=4\n"));
    fclose(pFile);

    // a run of 128 pixels in an image of 4
    pFile = OpenInside(Tga(10, 2, 2, 24, 0, {0xFF, 1, 2, 3}));
    twTga_ReadHeader(pFile, nullptr, nullptr, nullptr);
    EXPECT_EQ(twTga_ReadData(pFile, 12, aucOut), 0);
    EXPECT_TRUE(twTest_LogHas("!run-length packet runs past the end of the image\n"));
    fclose(pFile);

    // data cut short, plain and run-length
    twHarness_WriteFile(dir + "short.tga", Tga(2, 2, 2, 24, 0, {1, 2, 3}));
    pFile = fopen((dir + "short.tga").c_str(), "rb");
    twTga_ReadHeader(pFile, nullptr, nullptr, nullptr);
    EXPECT_EQ(twTga_ReadData(pFile, 12, aucOut), 0);
    fclose(pFile);
    twHarness_WriteFile(dir + "short.tga", Tga(10, 4, 4, 24, 0, {0x85, 1, 2}));
    pFile = fopen((dir + "short.tga").c_str(), "rb");
    twTga_ReadHeader(pFile, nullptr, nullptr, nullptr);
    uint8_t aucBig[48];
    EXPECT_EQ(twTga_ReadData(pFile, 48, aucBig), 0);
    fclose(pFile);
}

// ---------------------------------------------------------------------------------------------
// DDS
// ---------------------------------------------------------------------------------------------

TEST_F(Images, DdsHeadersGiveFormatChannelsAndSizes)
{
    int w, h, c = -1, f, n, l;
    FILE* pFile = OpenInside(Dds("DXT1", 8, 4, 0, 16));
    ASSERT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, &n, &l), 1);
    EXPECT_EQ(w, 8);
    EXPECT_EQ(h, 4);
    EXPECT_EQ(c, 3);
    EXPECT_EQ(f, GL_COMPRESSED_RGB_S3TC_DXT1_EXT);
    EXPECT_EQ(n, 16);
    EXPECT_EQ(l, 0);
    uint8_t aucOut[16];
    ASSERT_EQ(twDxt_ReadData(pFile, n, aucOut), 1);
    EXPECT_EQ(aucOut[15], 0x5A);
    fclose(pFile);

    pFile = OpenInside(Dds("DXT5", 4, 4, 3, 48));
    ASSERT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, &n, &l), 1);
    EXPECT_EQ(c, 4);
    EXPECT_EQ(f, GL_COMPRESSED_RGBA_S3TC_DXT5_EXT);
    EXPECT_EQ(n, 48); // 4x4, 2x2 and 1x1 are a block each
    EXPECT_EQ(l, 3);
    fclose(pFile);

    c = -1;
    pFile = OpenInside(Dds("DXT3", 4, 4, 0, 16));
    ASSERT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, nullptr, nullptr), 1);
    EXPECT_EQ(c, -1);
    EXPECT_EQ(f, GL_COMPRESSED_RGBA_S3TC_DXT3_EXT);
    fclose(pFile);

    pFile = OpenInside(Dds("ABCD", 4, 4, 0, 16));
    ASSERT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, nullptr, nullptr), 1);
    EXPECT_EQ(f, 0x20534444); // the file's magic as a number
    fclose(pFile);
}

TEST_F(Images, DdsRefusesBadMagicAbsurdSizesAndShortData)
{
    int w, h, c, f, n, l;
    std::vector<uint8_t> bad = Dds("DXT1", 4, 4, 0, 8);
    bad[1] = 'X';
    FILE* pFile = OpenInside(bad);
    EXPECT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, &n, &l), 0);
    EXPECT_TRUE(twTest_LogHas("!header not dds\n"));
    fclose(pFile);
    pFile = OpenInside(Dds("DXT1", 1 << 20, 4, 0, 8));
    EXPECT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, &n, &l), 0);
    EXPECT_TRUE(twTest_LogHas("(corrupt?)"));
    fclose(pFile);
    pFile = OpenInside(Dds("DXT1", 4, 4, 1000000, 8));
    EXPECT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, &n, &l), 0);
    EXPECT_TRUE(twTest_LogHas("!invalid mip-map count 1000000\n"));
    fclose(pFile);
    twHarness_WriteFile(dir + "short.dds", Dds("DXT1", 8, 8, 0, 10));
    pFile = fopen((dir + "short.dds").c_str(), "rb");
    ASSERT_EQ(twDxt_ReadHeader(pFile, &w, &h, &c, &f, &n, &l), 1);
    uint8_t aucOut[32];
    EXPECT_EQ(twDxt_ReadData(pFile, n, aucOut), 0);
    fclose(pFile);
}

TEST(ImageSizes, DxtLevelAndTotalSizes)
{
    EXPECT_EQ(twDxt_GetLevelSize(GL_COMPRESSED_RGB_S3TC_DXT1_EXT, 1, 1), 8);
    EXPECT_EQ(twDxt_GetLevelSize(GL_COMPRESSED_RGBA_S3TC_DXT5_EXT, 1, 1), 16);
    EXPECT_EQ(twDxt_GetLevelSize(GL_COMPRESSED_RGB_S3TC_DXT1_EXT, 5, 9), 2 * 3 * 8);
    // 16x8, 8x4, 4x2, 2x1, 1x1
    EXPECT_EQ(twDxt_GetTotalSize(GL_COMPRESSED_RGB_S3TC_DXT1_EXT, 16, 8, 5), (8 + 2 + 1 + 1 + 1) * 8);
    EXPECT_EQ(twDxt_GetTotalSize(GL_COMPRESSED_RGB_S3TC_DXT1_EXT, 16, 8, 0), 8 * 8);
}

TEST(ImageSizes, PowersOfTwo)
{
    EXPECT_EQ(twCore_IsPow2(0), 0);
    EXPECT_EQ(twCore_IsPow2(-4), 0);
    EXPECT_EQ(twCore_IsPow2(1), 1);
    EXPECT_EQ(twCore_IsPow2(64), 1);
    EXPECT_EQ(twCore_IsPow2(96), 0);
    EXPECT_EQ(twCore_ComputePow2Dim(300, 4096, 0), 256);
    EXPECT_EQ(twCore_ComputePow2Dim(300, 4096, 1), 512);
    EXPECT_EQ(twCore_ComputePow2Dim(640, 4096, 0), 512);
    EXPECT_EQ(twCore_ComputePow2Dim(480, 4096, 0), 256);
    EXPECT_EQ(twCore_ComputePow2Dim(5000, 4096, 1), 4096);
    EXPECT_EQ(twCore_ComputePow2Dim(24, 16, 0), 16);
}

TEST_F(Images, Pow2SizeRuleFailuresAreLoggedNotHung)
{
    EXPECT_EQ(twCore_ComputePow2Dim(1, 4096, 0), 0);
    EXPECT_TRUE(twTest_LogHas("InDim==1\n"));
    EXPECT_EQ(twCore_ComputePow2Dim(100, 1, 0), 0);
    EXPECT_TRUE(twTest_LogHas("MaxPow2 == 1\n"));
    EXPECT_EQ(twCore_ComputePow2Dim(100, 1000, 0), 0);
    EXPECT_TRUE(twTest_LogHas("MaxPow2 != pow2\n"));
    // a small side that isn't a multiple of 8 had nowhere to go
    EXPECT_EQ(twCore_ComputePow2Dim(6, 4096, 0), 0);
    EXPECT_TRUE(twTest_LogHas("!InDim 6 is below 8 and gives 4\n"));
    EXPECT_EQ(twCore_ComputePow2Dim(-3, 4096, 0), 0);
}

TEST_F(Images, ScaleReducesByMeansOfAtMostFourPixels)
{
    // 1024 wide: each value is its column modulo 256
    std::vector<uint8_t> in(1024 * 2);
    for (int y = 0; y < 2; y++)
        for (int x = 0; x < 1024; x++)
            in[y * 1024 + x] = (uint8_t)(x * 7);
    std::vector<uint8_t> out(256 * 2);
    ASSERT_EQ(twCore_ScaleImage(1, 1024, 2, in.data(), 256, 2, out.data(), 1), 1);
    // output column j takes columns trunc(j * 1023 / 255) and the one beside it
    for (int j : {0, 1, 100, 254}) {
        int j0 = (int)(j * (1023.0f / 255.0f));
        int iExpected = (int)(((in[j0] + in[j0 + 1]) * 2) / 4.0f);
        EXPECT_EQ(out[j], iExpected) << "column " << j;
    }
    // point sampling takes the first pixel
    ASSERT_EQ(twCore_ScaleImage(1, 1024, 2, in.data(), 256, 2, out.data(), 0), 1);
    EXPECT_EQ(out[100], in[(int)(100 * (1023.0f / 255.0f))]);
}

TEST_F(Images, ScaleEnlargesBilinearly)
{
    const uint8_t aucIn[4] = {0, 100, 200, 40};
    uint8_t aucOut[9];
    ASSERT_EQ(twCore_ScaleImage(1, 2, 2, aucIn, 3, 3, aucOut, 1), 1);
    EXPECT_EQ(aucOut[0], 0);
    EXPECT_EQ(aucOut[1], 50);
    EXPECT_EQ(aucOut[2], 100);
    EXPECT_EQ(aucOut[4], 85); // mean of the four corners
    EXPECT_EQ(aucOut[8], 40);
    EXPECT_EQ(twCore_ScaleImage(3, 0, 2, aucIn, 3, 3, aucOut, 1), 0);
}
