// Resource packs (written by the pack tool, read back by the lookups) and the string table.
#include <gtest/gtest.h>
#include <string.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "tests/support.h"

struct Packs : ::testing::Test {
    std::string dir;
    void SetUp() override { dir = twHarness_StartServices(); }
    void TearDown() override { twHarness_StopServices(); }

    // reads a resource of the program's own file through the lookup
    std::string Resource(const char* pstrName, int* piSize = nullptr)
    {
        int iSize = -1;
        FILE* pFile = twCore_GetResource(pstrName, &iSize);
        if (!pFile)
            return "<none>";
        std::string out(iSize, '\0');
        size_t n = fread(&out[0], 1, iSize, pFile);
        fclose(pFile);
        out.resize(n);
        if (piSize)
            *piSize = iSize;
        return out;
    }

    // a pack of hand-made entries behind a program of 100 bytes
    std::string WritePack(const std::vector<std::pair<std::string, std::string>>& resources,
                          const std::vector<TwPackEntry>& extraEntries = {}, int iCountOverride = -1)
    {
        std::vector<uint8_t> file(100, 0xCC);
        std::vector<TwPackEntry> entries;
        for (const auto& r : resources) {
            TwPackEntry e;
            memset(&e, 0, sizeof(e));
            strcpy(e.szName, r.first.c_str());
            e.uiOffset = (uint32_t)file.size();
            e.uiSize = (uint32_t)r.second.size();
            twTest_PutBytes(&file, r.second.data(), r.second.size());
            entries.push_back(e);
        }
        entries.insert(entries.end(), extraEntries.begin(), extraEntries.end());
        for (const TwPackEntry& e : entries)
            twTest_PutBytes(&file, &e, sizeof(e));
        twTest_PutU32(&file, iCountOverride >= 0 ? (uint32_t)iCountOverride : (uint32_t)entries.size());
        twTest_PutBytes(&file, "TWRS", 4);
        std::string path = dir + "pack.exe";
        twHarness_WriteFile(path, file);
        snprintf(pCore->szExePath, TW_PATH_SIZE, "%s", path.c_str());
        return path;
    }
};

// ---------------------------------------------------------------------------------------------
// Packs
// ---------------------------------------------------------------------------------------------

TEST_F(Packs, ToolRoundTripWithMasterEntry)
{
    twHarness_WriteText(dir + "bare", std::string(1234, 'P'));
    twHarness_WriteText(dir + "One.tga", "first resource");
    twHarness_WriteText(dir + "Two.bin", std::string(70000, 'x') + "end");
    twHarness_WriteText(dir + "Empty", "");
    ASSERT_EQ(twTest_MakePack(dir + "Out.exe", dir + "bare", {dir + "One.tga", dir + "Two.bin", dir + "Empty"}), 0);
    snprintf(pCore->szExePath, TW_PATH_SIZE, "%s", (dir + "Out.exe").c_str());
    EXPECT_EQ(Resource("One.tga"), "first resource");
    EXPECT_EQ(Resource("Two.bin"), std::string(70000, 'x') + "end");
    int iSize = 0;
    EXPECT_EQ(Resource("Master", &iSize), std::string(1234, 'P'));
    EXPECT_EQ(iSize, 1234);
    // a resource of size 0 can't be found, though its name is there
    EXPECT_EQ(Resource("Empty"), "<none>");
    EXPECT_EQ(Resource("one.tga"), "<none>");
    EXPECT_EQ(Resource("Missing"), "<none>");
    // the same through the lookup on a named file
    FILE* pFile = twCore_GetResourceExt("One.tga", (dir + "Out.exe").c_str(), &iSize);
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(iSize, 14);
    fclose(pFile);
}

TEST_F(Packs, FirstOfTwoEqualNamesWins)
{
    WritePack({{"A", "first"}, {"A", "second"}});
    EXPECT_EQ(Resource("A"), "first");
}

TEST_F(Packs, CountZeroFindsNothing)
{
    WritePack({{"A", "data"}}, {}, 0);
    EXPECT_EQ(Resource("A"), "<none>");
}

TEST_F(Packs, DamagedDirectoriesAreReportedAndRefused)
{
    // a count that would put the directory before the file's start
    WritePack({{"A", "data"}}, {}, 0x00FFFFFF);
    EXPECT_EQ(Resource("A"), "<none>");
    EXPECT_TRUE(twTest_LogHas("!pack directory of 16777215 entries is larger than"));
    // an entry that runs past the directory
    TwPackEntry bad;
    memset(&bad, 0, sizeof(bad));
    strcpy(bad.szName, "Bad");
    bad.uiOffset = 90;
    bad.uiSize = 0xFFFFFF00u;
    WritePack({{"A", "data"}}, {bad});
    EXPECT_EQ(Resource("Bad"), "<none>");
    EXPECT_EQ(Resource("A"), "data");
    EXPECT_TRUE(twTest_LogHas("!resource 'Bad' runs past the pack of"));
    // a name without its terminator reads as its first 511 characters
    TwPackEntry unterminated;
    memset(&unterminated, 'N', sizeof(unterminated.szName));
    unterminated.uiOffset = 0;
    unterminated.uiSize = 4;
    WritePack({}, {unterminated});
    EXPECT_EQ(Resource(std::string(511, 'N').c_str()), std::string(4, '\xCC'));
}

TEST_F(Packs, FilesWithoutTrailerHaveNoPack)
{
    twHarness_WriteText(dir + "plain.exe", "no pack here, and a long enough text");
    snprintf(pCore->szExePath, TW_PATH_SIZE, "%s", (dir + "plain.exe").c_str());
    EXPECT_EQ(Resource("A"), "<none>");
    int iSize;
    EXPECT_EQ(twCore_GetResourceExt("A", (dir + "plain.exe").c_str(), &iSize), nullptr);
    EXPECT_TRUE(twTest_LogHas("[error] twCore_GetResourceExt\n  header not TWRS\n"));
    EXPECT_EQ(twCore_GetResourceExt("A", (dir + "absent.exe").c_str(), &iSize), nullptr);
    EXPECT_TRUE(twTest_LogHas("!fopen : '" + dir + "absent.exe'\n"));
    // anything behind the magic hides the pack
    WritePack({{"A", "data"}});
    FILE* pFile = fopen((dir + "pack.exe").c_str(), "ab");
    fputs("\n", pFile);
    fclose(pFile);
    EXPECT_EQ(Resource("A"), "<none>");
    twHarness_WriteText(dir + "tiny.exe", "TWRS");
    snprintf(pCore->szExePath, TW_PATH_SIZE, "%s", (dir + "tiny.exe").c_str());
    EXPECT_EQ(Resource("A"), "<none>");
}

TEST_F(Packs, InstalledProgramCarriesItsResourcesInOrder)
{
    std::string program = twHarness_ReadFile(std::string(AMB_BUILD_DIR) + "/Ambulon.exe");
    std::string bare = twHarness_ReadFile(std::string(AMB_BUILD_DIR) + "/Ambulon.bare");
    ASSERT_GT(program.size(), bare.size());
    ASSERT_EQ(program.substr(program.size() - 4), "TWRS");
    int32_t iCount;
    memcpy(&iCount, &program[program.size() - 8], 4);
    std::vector<std::string> names;
    std::vector<TwPackEntry> entries(iCount);
    memcpy(entries.data(), &program[program.size() - 8 - 520 * iCount], 520 * iCount);
    for (const TwPackEntry& e : entries)
        names.push_back(e.szName);
    std::vector<std::string> expected = {
        "Version.bin", "Cursor.tga", "Check.tga", "Cross.tga",     "Cross2.tga", "Rec.tga",
        "Pause.tga",   "Gallery.tga", "Camera.tga", "Clip.tga",    "Null.tga",   "Plane.tga",
        "Flare.tga",   "Flare2.tga",  "Exposure8.raw", "XN.tga",   "XP.tga",     "YN.tga",
        "YP.tga",      "ZN.tga",      "ZP.tga",     "Settings.bin", "Recpause.tga", "Recplay.tga", "Master"};
    EXPECT_EQ(names, expected);
    EXPECT_EQ(entries.back().uiOffset, 0u);
    EXPECT_EQ(entries.back().uiSize, bare.size());
    EXPECT_EQ(program.compare(0, bare.size(), bare), 0);

    snprintf(pCore->szExePath, TW_PATH_SIZE, "%s/Ambulon.exe", AMB_BUILD_DIR);
    std::string version = Resource("Version.bin");
    ASSERT_EQ(version.size(), 4u);
    uint32_t uiVersion;
    memcpy(&uiVersion, version.data(), 4);
    EXPECT_EQ(uiVersion, 10698u);
    EXPECT_EQ(Resource("Exposure8.raw").size(), 16384u);
    std::string settings = Resource("Settings.bin");
    ASSERT_EQ(settings.size(), 104u);
    int32_t aiItems[18];
    float afItems[8];
    memcpy(aiItems, settings.data(), sizeof(aiItems));
    memcpy(afItems, settings.data() + 72, sizeof(afItems));
    const int32_t aiExpected[18] = {25, 1, 0, 1, 4, 3, 0, 1, 0, 1, 1, 0, 0, 1, 0, 0, 16, 315};
    const float afExpected[8] = {0.0f, 0.6f, 1.0f, 0.25f, 1.6f, 80.0f, 2.0f, 0.15f};
    EXPECT_EQ(memcmp(aiItems, aiExpected, sizeof(aiItems)), 0);
    EXPECT_EQ(memcmp(afItems, afExpected, sizeof(afItems)), 0);
}

// ---------------------------------------------------------------------------------------------
// String table
// ---------------------------------------------------------------------------------------------

struct Strings : Packs {
    void SetUp() override
    {
        Packs::SetUp();
        twStrings_Init();
    }
    void TearDown() override
    {
        twStrings_Shutdown();
        Packs::TearDown();
    }

    // a table file: header, then (index, text) records as given
    std::string WriteTable(const std::vector<std::pair<int, std::string>>& records, int iCountOverride = -1,
                           char cMagic = 'S')
    {
        std::vector<uint8_t> file;
        twTest_PutU8(&file, (uint8_t)cMagic);
        twTest_PutU32(&file, 9);
        twTest_PutU32(&file, 0);
        twTest_PutU32(&file, 14);
        twTest_PutU32(&file, (uint32_t)-2);
        char szFace[512] = "Arial";
        twTest_PutBytes(&file, szFace, 512);
        twTest_PutU32(&file, iCountOverride >= 0 ? (uint32_t)iCountOverride : (uint32_t)records.size());
        for (const auto& r : records) {
            twTest_PutU32(&file, (uint32_t)r.first);
            twTest_PutU32(&file, (uint32_t)r.second.size());
            twTest_PutBytes(&file, r.second.data(), r.second.size());
        }
        std::string path = dir + "Strings.bin";
        twHarness_WriteFile(path, file);
        return path;
    }
};

TEST_F(Strings, BuiltTableHoldsEveryIdInUse)
{
    std::string path = std::string(AMB_BUILD_DIR) + "/Data/Strings/Strings.bin";
    ASSERT_EQ(twStrings_ImportBin(path.c_str()), 1);
    std::vector<int> ids = {1, 8, 13, 14, 15, 110, 112, 114, 115, 116, 117, 118, 119, 134, 135, 137, 138,
                            139, 140, 141, 142, 148, 150, 154, 164, 177, 190, 474};
    const int aiRanges[][2] = {{100, 107}, {120, 126}, {128, 132}, {143, 146}, {155, 163}, {165, 168},
                               {170, 175}, {180, 183}, {200, 222}, {223, 225}, {240, 242}, {300, 309},
                               {312, 315}, {340, 349}, {380, 384}, {400, 404}, {420, 423}, {430, 433},
                               {460, 472}, {476, 491}};
    for (const auto& range : aiRanges)
        for (int i = range[0]; i <= range[1]; i++)
            ids.push_back(i);
    for (int id : ids) {
        const char* pstrText = twStrings_Get(id);
        EXPECT_STRNE(pstrText, "FAILED") << "id " << id;
        EXPECT_GT(strlen(pstrText), 0u) << "id " << id;
    }
    EXPECT_STREQ(twStrings_GetFontFace(), "Arial");
    EXPECT_EQ(twStrings_GetCharset(), 0);
    EXPECT_GT(twStrings_GetFontHeight(), 0);
}

TEST_F(Strings, LookupsAndFailureTexts)
{
    ASSERT_EQ(twStrings_ImportBin(WriteTable({{1, "Ambulon"}, {2, ""}, {599, "last"}}).c_str()), 1);
    EXPECT_STREQ(twStrings_Get(1), "Ambulon");
    EXPECT_STREQ(twStrings_Get(2), "");
    EXPECT_STREQ(twStrings_Get(599), "last");
    EXPECT_STREQ(twStrings_Get(3), "FAILED");
    EXPECT_STREQ(twStrings_Get(0), "FAILED(0)");
    EXPECT_STREQ(twStrings_Get(600), "FAILED(600)");
    EXPECT_STREQ(twStrings_Get(-5), "FAILED(-5)");
    EXPECT_EQ(twStrings_GetLanguage(), 9);
    EXPECT_EQ(twStrings_GetFontHeight(), 14);
    EXPECT_EQ(twStrings_GetTextYOffset(), -2);
    EXPECT_TRUE(twTest_LogHas("Number of strings to load = 3\n"));
}

TEST_F(Strings, LaterRecordReplacesEarlierWithoutLeaking)
{
    ASSERT_EQ(twStrings_ImportBin(WriteTable({{5, "old"}, {5, "new"}}).c_str()), 1);
    EXPECT_STREQ(twStrings_Get(5), "new");
    twStrings_Shutdown();
    EXPECT_EQ(twMem_GetUsed(), 0u);
}

TEST_F(Strings, IndexSixHundredIsKeptOutOfTheTable)
{
    ASSERT_EQ(twStrings_ImportBin(WriteTable({{600, "behind"}, {4, "four"}}).c_str()), 1);
    EXPECT_STREQ(twStrings_Get(600), "FAILED(600)");
    EXPECT_STREQ(twStrings_Get(4), "four");
    EXPECT_TRUE(twTest_LogHas("!Index 600 lies behind the table\n"));
}

TEST_F(Strings, DamagedTablesFailWithTheirLine)
{
    EXPECT_EQ(twStrings_ImportBin(WriteTable({{1, "a"}}, -1, 'X').c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("twStrings_Load\n  !Failed to find 'S'\n"));
    EXPECT_EQ(twStrings_ImportBin(WriteTable({{601, "a"}}).c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("!Index 601 is out of range\n"));
    EXPECT_EQ(twStrings_ImportBin(WriteTable({{0, "a"}}).c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("!Index 0 is out of range\n"));
    EXPECT_EQ(twStrings_ImportBin(WriteTable({{1, "a"}}, 100000).c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("!Count 100000 is more than the file holds\n"));
    // a record whose length runs past the end
    std::string path = WriteTable({{1, "abcdef"}});
    std::string bytes = twHarness_ReadFile(path);
    twHarness_WriteText(path, bytes.substr(0, bytes.size() - 3));
    EXPECT_EQ(twStrings_ImportBin(path.c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("!Record 1 runs past the end of the file\n"));
    // every cut of a valid file fails cleanly
    std::string valid = twHarness_ReadFile(WriteTable({{1, "one"}, {2, "two"}}));
    for (size_t uiCut = 0; uiCut < valid.size(); uiCut++) {
        twHarness_WriteText(path, valid.substr(0, uiCut));
        EXPECT_EQ(twStrings_ImportBin(path.c_str()), 0) << "cut at " << uiCut;
    }
    EXPECT_EQ(twStrings_ImportBin((dir + "absent.bin").c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("!fopen : '" + dir + "absent.bin'\n"));
}

TEST_F(Strings, OwnPackComesFirstThenTheDataDirectory)
{
    // the data directory's table
    std::string table = WriteTable({{1, "from data"}});
    system(("mkdir -p '" + dir + "Data/Strings' && cp '" + table + "' '" + dir + "Data/Strings/Strings.bin'").c_str());
    WritePack({{"Other", "x"}});
    ASSERT_EQ(twStrings_ImportBin(nullptr), 1);
    EXPECT_STREQ(twStrings_Get(1), "from data");
    // a copy that carries its own table reads that one
    WriteTable({{1, "from pack"}});
    WritePack({{"Strings.bin", twHarness_ReadFile(dir + "Strings.bin")}});
    ASSERT_EQ(twStrings_ImportBin(nullptr), 1);
    EXPECT_STREQ(twStrings_Get(1), "from pack");
    // no data directory at all
    WritePack({{"Other", "x"}});
    pCore->szDataDir[0] = 0;
    EXPECT_EQ(twStrings_ImportBin(nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("!twCore_GetDataDir\n"));
}
