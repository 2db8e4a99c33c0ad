// Helpers of the tests alone: the log read back, and little-endian byte builders. The
// scratch run of the services and the sample models are in tools/harness.
#pragma once
#include <stdint.h>

#include <string>
#include <vector>

#include "tools/export/model_writer.h"
#include "tools/harness/harness.h"

std::string twTest_ReadLog(void);
// The log's message lines (without headers and headings), as written.
std::vector<std::string> twTest_LogLines(void);
bool twTest_LogHas(const std::string& text);
// Window pixels as GL's units over the viewport (0, 0, w, h), depth test off: how the
// overlays draw
void twTest_PixelView(int w, int h);
// Little-endian appenders for building files in tests
void twTest_PutU8(std::vector<uint8_t>* pOut, uint8_t v);
void twTest_PutU16(std::vector<uint8_t>* pOut, uint16_t v);
void twTest_PutU32(std::vector<uint8_t>* pOut, uint32_t v);
void twTest_PutBytes(std::vector<uint8_t>* pOut, const void* p, size_t n);
// Runs the pack tool: output = bare + resources, with a Master entry. Returns its exit code.
int twTest_MakePack(const std::string& output, const std::string& bare, const std::vector<std::string>& resources);
// A stand-alone copy in the harness folder: a program with the model in its pack, then the
// files given (named in the pack as on disk); its path
std::string twTest_MakeCopy(const std::string& name, const TwExportModel& model,
                            const std::vector<std::string>& files = {});
// A zenity first on PATH that prints a path (or fails with the given status); the PATH of
// the start comes back at the next call with an empty output and status -1
void twTest_StubZenity(const std::string& output, int iStatus);
