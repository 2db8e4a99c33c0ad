// What the tests and the benchmarks share to run the engine outside the program: the
// runtime services in a scratch folder of their own with logging on, a window with the GL
// layer, the world record, and plain file helpers.
#pragma once
#include <stdint.h>

#include <string>
#include <vector>

struct TwExportModel;

// Makes a fresh scratch folder (ending in "/") and starts timer, core and memory with the
// log written there. bTrack turns on the allocator's chunk list.
std::string twHarness_StartServices(int bTrack = 0);
// Stops memory, core and timer; the scratch folder stays for inspection.
void twHarness_StopServices(void);
std::string twHarness_Dir(void);
// Services, a window of the given size with its GL context, the GL layer and the fonts;
// the program's own file is the built Ambulon.exe, so its resources are found.
void twHarness_StartGl(int iWidth, int iHeight);
void twHarness_StopGl(void);
// The GL services, the layer table and the world record, for runs that load models; 1 or 0
int twHarness_StartWorld(int iWidth, int iHeight, int bUseVbo);
void twHarness_StopWorld(void);
// The engine as the program starts it, up to the gallery, on a window of the given size:
// the built program is the master of copies (the data folder is the build's), and the
// model, when given, is where the CAD host leaves it (Temp/Export.bin). 1, or 0 when a step fails.
int twHarness_StartEngine(int iWidth, int iHeight, const TwExportModel* pModel);
// Whole files: an empty text when the file can't be read; writes that fail leave no file
std::string twHarness_ReadFile(const std::string& path);
void twHarness_WriteFile(const std::string& path, const std::vector<uint8_t>& bytes);
void twHarness_WriteText(const std::string& path, const std::string& text);
