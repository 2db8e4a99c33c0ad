// Helpers shared by the tests: a scratch folder per test, the runtime services started
// with logging on into that folder, and the log read back.
#pragma once
#include <stdint.h>

#include <string>
#include <vector>

// Makes a fresh scratch folder (ending in "/") and starts timer, core and memory with the
// log written there. bTrack turns on the allocator's chunk list.
std::string twTest_StartServices(int bTrack = 0);
// Stops memory, core and timer; the scratch folder stays for inspection.
void twTest_StopServices(void);
std::string twTest_Dir(void);
std::string twTest_ReadLog(void);
// The log's message lines (without headers and headings), as written.
std::vector<std::string> twTest_LogLines(void);
bool twTest_LogHas(const std::string& text);
std::string twTest_ReadFile(const std::string& path);
void twTest_WriteFile(const std::string& path, const std::vector<uint8_t>& bytes);
void twTest_WriteText(const std::string& path, const std::string& text);
// Little-endian appenders for building files in tests
void twTest_PutU8(std::vector<uint8_t>* pOut, uint8_t v);
void twTest_PutU16(std::vector<uint8_t>* pOut, uint16_t v);
void twTest_PutU32(std::vector<uint8_t>* pOut, uint32_t v);
void twTest_PutBytes(std::vector<uint8_t>* pOut, const void* p, size_t n);
// Services, a window of the given size with its GL context, the GL layer and the fonts;
// the program's own file is the built Ambulon.exe, so its resources are found.
void twTest_StartGl(int iWidth, int iHeight);
void twTest_StopGl(void);
// The GL services, the layer table and the world record, for tests that load models; 1 or 0
int twTest_StartWorld(int iWidth, int iHeight, int bUseVbo);
void twTest_StopWorld(void);
// Runs the pack tool: output = bare + resources, with a Master entry. Returns its exit code.
int twTest_MakePack(const std::string& output, const std::string& bare, const std::vector<std::string>& resources);
