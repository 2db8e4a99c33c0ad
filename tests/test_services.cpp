// The runtime services: log, tracked allocator, lists, sorted arrays, timer, path helpers.
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "engine/core.h"
#include "engine/list.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/sort.h"
#include "engine/timer.h"
#include "engine/writer.h"
#include "tests/support.h"

struct Services : ::testing::Test {
    void SetUp() override { twHarness_StartServices(); }
    void TearDown() override { twHarness_StopServices(); }
};

// ---------------------------------------------------------------------------------------------
// Log
// ---------------------------------------------------------------------------------------------

TEST_F(Services, LogWritesHeadersHeadingsAndMessages)
{
    EXPECT_EQ(twLog("twA", "first %d\n", 1), 1);
    twLog("twA", "second\n");
    twLog("twB", ".dotted\n");
    twLog("twB", "_hidden\n");
    twLogError("twB", "!fopen : '%s'\n", "x.bin");
    std::string log = twTest_ReadLog();
    // three header lines: name, maker, date
    ASSERT_EQ(log.rfind("//Ambulon 2\n//", 0), 0u);
    size_t uiThird = log.find('\n', log.find('\n', log.find('\n') + 1) + 1);
    std::string dateLine = log.substr(log.find('\n', log.find('\n') + 1) + 1);
    EXPECT_EQ(dateLine.substr(0, 2), "//");
    // one heading per change of tag, with the time
    std::string rest = log.substr(uiThird + 1);
    EXPECT_NE(rest.find("\n//"), std::string::npos);
    EXPECT_NE(rest.find(" twA\n  first 1\n  second\n"), std::string::npos);
    EXPECT_NE(rest.find(" twB\n  dotted\n"), std::string::npos);
    EXPECT_EQ(rest.find("hidden"), std::string::npos);
    EXPECT_NE(rest.find(" [error] twB\n  !fopen : 'x.bin'\n"), std::string::npos);
    EXPECT_EQ(pCore->iNumLogLines, 4);
}

TEST_F(Services, LogHeadingCarriesTimeWithThreeDecimals)
{
    twLog("twTimed", "x\n");
    std::string log = twTest_ReadLog();
    size_t uiHeading = log.find("\n//", 3);
    ASSERT_NE(uiHeading, std::string::npos);
    std::string heading = log.substr(log.rfind("\n//") + 3);
    float fTime = -1;
    char szTag[64] = "";
    ASSERT_EQ(sscanf(heading.c_str(), "%f %63s", &fTime, szTag), 2);
    EXPECT_STREQ(szTag, "twTimed");
    EXPECT_NE(heading.find('.'), std::string::npos);
}

TEST_F(Services, LogSwitchIsDecidedOnceFromTheUserDirectory)
{
    // a fresh run without the switch file leaves the log unwritten
    std::string dir = twHarness_Dir();
    twCore_Shutdown();
    remove((dir + TW_LOG_SWITCH_NAME).c_str());
    remove((dir + TW_LOG_FILE_NAME).c_str());
    twCore_Init("Ambulon 2", (dir + "Ambulon.exe").c_str());
    twCore_SetUserDir(dir.c_str());
    twCore_SetLogFile((dir + TW_LOG_FILE_NAME).c_str());
    EXPECT_EQ(twLog("twX", "nothing\n"), 0);
    EXPECT_EQ(twLogError("twX", "nothing\n"), 1);
    // the decision holds for the run even when the switch appears later
    twHarness_WriteText(dir + TW_LOG_SWITCH_NAME, "");
    EXPECT_EQ(twLog("twX", "still nothing\n"), 0);
    EXPECT_EQ(twTest_ReadLog(), "");
    EXPECT_EQ(twLog(nullptr, "x"), 0);
    EXPECT_EQ(twLogError("twX", nullptr), 0);
}

TEST_F(Services, LogKeepsPercentSignsAndCutsLongMessages)
{
    twLogError("twP", "!fopen : '%s'\n", "100%s done.bin");
    std::string big(700, 'a');
    twLog("twP", "%s\n", big.c_str());
    std::string log = twTest_ReadLog();
    EXPECT_NE(log.find("!fopen : '100%s done.bin'\n"), std::string::npos);
    EXPECT_NE(log.find("written as it stands"), std::string::npos);
    EXPECT_NE(log.find(std::string(511, 'a') + "  !vsprintf : message longer than 511 bytes, cut\n"),
              std::string::npos);
}

// ---------------------------------------------------------------------------------------------
// Tracked allocator
// ---------------------------------------------------------------------------------------------

// Blocks come zeroed, on 16 bytes whatever their name, counted in the usage, and listed
// under their names: a long name cut at 32 characters, a missing one empty
TEST(Memory, BlocksAreZeroedAlignedCountedAndListedByName)
{
    twHarness_StartServices(1);
    const char* pstrLong = "0123456789012345678901234567890123456789";
    const char* apstrNames[3] = {"pBlock", pstrLong, nullptr};
    const uint32_t auiSizes[3] = {10, 4, 3};
    uint8_t* apBlocks[3];
    for (int i = 0; i < 3; i++) {
        apBlocks[i] = (uint8_t*)twMem_Malloc(auiSizes[i], apstrNames[i]);
        ASSERT_NE(apBlocks[i], nullptr);
        EXPECT_EQ((uintptr_t)apBlocks[i] % 16, 0u) << i;
        for (uint32_t k = 0; k < auiSizes[i]; k++)
            EXPECT_EQ(apBlocks[i][k], 0) << i;
        memset(apBlocks[i], 0xAB, auiSizes[i]);
    }
    EXPECT_EQ(twMem_GetUsed(), 17u);
    EXPECT_EQ(twMem_List(0), 1);
    std::vector<std::string> lines = twTest_LogLines();
    for (const char* pstrLine :
         {"'pBlock' : 10", "'01234567890123456789012345678901' : 4", "'' : 3", "Listed 17 bytes"})
        EXPECT_NE(std::find(lines.begin(), lines.end(), pstrLine), lines.end()) << pstrLine;
    for (uint8_t* p : apBlocks)
        EXPECT_EQ(twMem_Free(p), 1);
    EXPECT_EQ(twMem_GetUsed(), 0u);
    twHarness_StopServices();
}

TEST_F(Services, UsageTextHasThousandsGroups)
{
    void* p = twMem_Malloc(1234567, "big");
    EXPECT_STREQ(twMem_GetUsageString(), "1 234 567");
    twMem_Free(p);
    EXPECT_STREQ(twMem_GetUsageString(), "0");
}

TEST_F(Services, FreeRefusesBlocksWithoutMarker)
{
    uint8_t* p = (uint8_t*)twMem_Malloc(8, "pVictim");
    p[-1] = 'y';
    EXPECT_EQ(twMem_Free(p), 0);
    EXPECT_EQ(twMem_GetUsed(), 8u);
    EXPECT_TRUE(twTest_LogHas("[error] twMem_ExtractChunkFromPointer\n  invalid chunk\n"));
    EXPECT_EQ(twMem_Free(nullptr), 0);
    p[-1] = 'z';
    EXPECT_EQ(twMem_Free(p), 1);
}

TEST_F(Services, TempBufferSizes)
{
    EXPECT_EQ(twMem_GetTempBuffer(0x1000001, 0), nullptr);
    uint8_t* p = (uint8_t*)twMem_GetTempBuffer(0, 0);
    ASSERT_NE(p, nullptr);
    p[0] = 7;
    p[TW_TEMP_BUFFER_SIZE - 1] = 9;
    EXPECT_EQ(twMem_GetTempBuffer(16, 0), p);
    twMem_GetTempBuffer(0, 1);
    EXPECT_EQ(p[0], 0);
    EXPECT_EQ(p[TW_TEMP_BUFFER_SIZE - 1], 0);
}

TEST(Memory, ShutdownReportsLeaksWithNamesWhenTracking)
{
    twHarness_StartServices(1);
    void* pKept = twMem_Malloc(1000, "pLeaky");
    void* pFreed = twMem_Malloc(5, "pGone");
    twMem_Free(pFreed);
    std::string dir = twHarness_Dir();
    twMem_Shutdown();
    std::vector<std::string> lines = twTest_LogLines();
    twMem_Free(pKept); // the leak was reported, not freed
    twCore_Shutdown();
    twTimer_Shutdown();
    std::vector<std::string> expected = {"Shutting down", "Freeing 16 777 216 bytes used by temp buffer",
                                         "Leaking 1 000 bytes", "RAM usage 1 000 bytes", "Listing all allocations",
                                         "'pLeaky' : 1000", "Listed 1 000 bytes", "Freeing track list"};
    ASSERT_GE(lines.size(), expected.size());
    std::vector<std::string> tail(lines.end() - expected.size(), lines.end());
    EXPECT_EQ(tail, expected);
}

TEST(Memory, CleanShutdownReportsNoLeak)
{
    twHarness_StartServices();
    twMem_Free(twMem_Malloc(64, "pTidy"));
    twMem_Shutdown();
    EXPECT_FALSE(twTest_LogHas("Leaking"));
    twCore_Shutdown();
    twTimer_Shutdown();
}

// ---------------------------------------------------------------------------------------------
// Lists and sorted arrays
// ---------------------------------------------------------------------------------------------

TEST_F(Services, ListAppendsAndReusesGapsOnlyWithoutLast)
{
    TwList list;
    twList_Init(&list);
    int a, b, c;
    EXPECT_EQ(twList_AddPointer(&list, &a), 0);
    EXPECT_EQ(twList_AddPointer(&list, &b), 1);
    // the fast path appends even a duplicate
    EXPECT_EQ(twList_AddPointer(&list, &a), 2);
    EXPECT_EQ(twList_Count(&list), 3);
    list.pNext->pNext->pData = nullptr; // a hole at index 1
    EXPECT_EQ(twList_Count(&list), 2);
    list.pLast = nullptr; // a head that lost its last node searches
    EXPECT_EQ(twList_AddPointer(&list, &c), 1);
    EXPECT_EQ(twList_AddPointer(&list, &a), 0);
    EXPECT_EQ(twList_AddPointer(&list, &b), 3);
    EXPECT_EQ(list.iLast, 3);
    twList_Free(&list, 0);
    EXPECT_EQ(list.pNext, nullptr);
    EXPECT_EQ(list.pLast, nullptr);
}

TEST_F(Services, ListFreesItsItemsByMode)
{
    TwList list;
    twList_Init(&list);
    twList_AddPointer(&list, twMem_Malloc(100, "pItem"));
    twList_AddPointer(&list, twMem_Malloc(50, "pItem"));
    EXPECT_EQ(twMem_GetUsed(), 150u);
    twList_Free(&list, 1);
    EXPECT_EQ(twMem_GetUsed(), 0u);
    twList_AddPointer(&list, malloc(10));
    twList_Free(&list, 2);
}

TEST_F(Services, SortedArrayGivesEqualKeysSuccessivePositions)
{
    TwSort sort;
    ASSERT_EQ(twSort_Init(&sort, 6), 1);
    EXPECT_EQ(twSort_GetIndex(&sort, 1), -1);
    EXPECT_TRUE(twTest_LogHas("!List not sorted\n"));
    for (int v : {5, 3, 9, 3, -2})
        twSort_AddValue(&sort, v);
    twSort_Sort(&sort);
    EXPECT_EQ(sort.piArray[0], -2);
    EXPECT_EQ(sort.piArray[4], 9);
    EXPECT_EQ(twSort_GetIndex(&sort, 3), 1);
    EXPECT_EQ(twSort_GetIndex(&sort, 3), 2);
    EXPECT_EQ(twSort_GetIndex(&sort, 3), -1);
    EXPECT_TRUE(twTest_LogHas("!Failed to find value 3\n"));
    EXPECT_EQ(twSort_GetIndex(&sort, 9), 4);
    twSort_AddValue(&sort, 1);
    EXPECT_EQ(twSort_AddValue(&sort, 2), 0);
    EXPECT_TRUE(twTest_LogHas("NumItems 6 >= MaxItems 6\n"));
    twSort_Clear(&sort);
    EXPECT_EQ(sort.iNumItems, 0);
    EXPECT_EQ(sort.bSorted, 0);
    twSort_Free(&sort);
}

TEST_F(Services, SortHandlesLargeArraysWithManyDuplicates)
{
    TwSort sort;
    twSort_Init(&sort, 5000);
    for (int i = 0; i < 5000; i++)
        twSort_AddValue(&sort, (i * 7919) % 13);
    twSort_Sort(&sort);
    for (int i = 1; i < 5000; i++)
        ASSERT_LE(sort.piArray[i - 1], sort.piArray[i]);
    twSort_Free(&sort);
}

// ---------------------------------------------------------------------------------------------
// Timer
// ---------------------------------------------------------------------------------------------

TEST_F(Services, LongFramesCountAsNothing)
{
    twTimer_Update();
    float fTime = pTimer->fTime;
    uint32_t uiFrames = pTimer->uiFrames;
    int iFps = pTimer->iFps;
    pTimer->iLast -= 900000000; // a frame of 0.9 s
    EXPECT_EQ(twTimer_Update(), 0.0f);
    EXPECT_EQ(pTimer->fTime, fTime);
    EXPECT_EQ(pTimer->uiFrames, uiFrames);
    EXPECT_EQ(pTimer->iFps, iFps);
    // a frame of 0.5 s counts, scaled
    pTimer->fScale = 0.5f;
    pTimer->iLast -= 500000000;
    float fDelta = twTimer_Update();
    EXPECT_NEAR(fDelta, 0.25f, 0.01f);
    EXPECT_EQ(pTimer->uiFrames, uiFrames + 1);
    pTimer->bSkipNext = 1;
    EXPECT_EQ(twTimer_Update(), 0.0f);
    EXPECT_EQ(pTimer->bSkipNext, 0);
}

TEST_F(Services, FramesPerSecondIsReadOncePerSecond)
{
    pTimer->fScale = 1.0f;
    twTimer_Update();
    pTimer->fFpsClock = 0;
    pTimer->iFpsFrames = 0;
    for (int i = 0; i < 5; i++) {
        pTimer->iLast -= 250000000; // four frames of a quarter second fill the second
        twTimer_Update();
    }
    // the fifth frame finds the clock at 1 and takes the reading
    EXPECT_EQ(twTimer_GetFps(), 4);
    EXPECT_EQ(pTimer->iFpsFrames, 0);
}

TEST_F(Services, DateStrings)
{
    char szDate[32], szFile[32];
    twTimer_GetDateString(szDate);
    twTimer_GetFileDateString(szFile);
    EXPECT_EQ(strlen(szDate), 24u);
    EXPECT_EQ(szDate[3], ' ');
    EXPECT_EQ(strchr(szFile, ' '), nullptr);
    EXPECT_EQ(strchr(szFile, ':'), nullptr);
    EXPECT_EQ(szFile[3], '_');
}

// ---------------------------------------------------------------------------------------------
// Paths and numbers
// ---------------------------------------------------------------------------------------------

// A file takes its place whole: until the writer closes, and after any failure, the old
// file stands as it was and no part of the new one is left
TEST_F(Services, WrittenFilesArriveWholeOrNotAtAll)
{
    std::string path = twHarness_Dir() + "file.bin";
    twHarness_WriteText(path, "old");
    TwWriter writer;
    ASSERT_EQ(twWriter_Open(&writer, path.c_str()), 1);
    twWriter_U32(&writer, 0x44434241);
    EXPECT_EQ(twHarness_ReadFile(path), "old");
    ASSERT_EQ(twWriter_Close(&writer), 1);
    EXPECT_EQ(twHarness_ReadFile(path), "ABCD");
    EXPECT_EQ(access((path + ".part").c_str(), F_OK), -1);
    // a full disk: the bytes go to a device that takes none
    ASSERT_EQ(twWriter_Open(&writer, path.c_str()), 1);
    fclose(writer.pFile);
    writer.pFile = fopen("/dev/full", "wb");
    ASSERT_NE(writer.pFile, nullptr);
    twWriter_U32(&writer, 1);
    EXPECT_EQ(twWriter_Close(&writer), 0);
    EXPECT_EQ(twHarness_ReadFile(path), "ABCD");
    EXPECT_EQ(access((path + ".part").c_str(), F_OK), -1);
    // given up on
    ASSERT_EQ(twWriter_Open(&writer, path.c_str()), 1);
    twWriter_U8(&writer, 9);
    twWriter_Abandon(&writer);
    EXPECT_EQ(twHarness_ReadFile(path), "ABCD");
    EXPECT_EQ(access((path + ".part").c_str(), F_OK), -1);
    EXPECT_EQ(twWriter_Open(&writer, (twHarness_Dir() + "no/such/folder/file.bin").c_str()), 0);
}

TEST_F(Services, PathHelpers)
{
    char szOut[TW_PATH_SIZE];
    EXPECT_EQ(twCore_GetDirectory("/home/u/Ambulon.exe", szOut), 1);
    EXPECT_STREQ(szOut, "/home/u/");
    EXPECT_EQ(twCore_GetDirectory("C:\\Programs\\Amb\\Ambulon.exe", szOut), 1);
    EXPECT_STREQ(szOut, "C:\\Programs\\Amb/");
    strcpy(szOut, "untouched");
    EXPECT_EQ(twCore_GetDirectory("Ambulon.exe", szOut), 0);
    EXPECT_EQ(twCore_GetDirectory("/Ambulon.exe", szOut), 0); // only a separator above position 0 counts
    EXPECT_STREQ(szOut, "untouched");

    EXPECT_EQ(twCore_GetExtension("a/b.tga", szOut), 1);
    EXPECT_STREQ(szOut, ".tga");
    EXPECT_EQ(twCore_GetExtension("a/b.jpeg", szOut), 0);

    EXPECT_EQ(twCore_ExtractName("a/b.tga", szOut, 0), 1);
    EXPECT_STREQ(szOut, "b");
    twCore_ExtractName("a/b.jpeg", szOut, 0);
    EXPECT_STREQ(szOut, "b.jpeg");
    twCore_ExtractName("a\\b.tga", szOut, 1);
    EXPECT_STREQ(szOut, "b.tga");
    twCore_ExtractName("x.tga", szOut, 0);
    EXPECT_STREQ(szOut, "x");
    twCore_ExtractName(".tga", szOut, 0);
    EXPECT_STREQ(szOut, ".tga");
    EXPECT_EQ(twCore_ExtractName(nullptr, szOut, 0), 0);
    EXPECT_EQ(twCore_ExtractName("a", nullptr, 0), 0);
    EXPECT_TRUE(twTest_LogHas("!pstrPath\n"));
    EXPECT_TRUE(twTest_LogHas("!pstrNameOut\n"));
}

TEST_F(Services, ThousandsGroups)
{
    char szOut[32];
    twCore_FormatThousands(0, szOut);
    EXPECT_STREQ(szOut, "0");
    twCore_FormatThousands(999, szOut);
    EXPECT_STREQ(szOut, "999");
    twCore_FormatThousands(1000, szOut);
    EXPECT_STREQ(szOut, "1 000");
    twCore_FormatThousands(12345678, szOut);
    EXPECT_STREQ(szOut, "12 345 678");
    twCore_FormatThousands(4294967295u, szOut);
    EXPECT_STREQ(szOut, "4 294 967 295");
}
