// The log: "Amb2_Log.txt", switched on by the file "Enable AMB logging" in the user
// directory. Its state (path, last tag, line count) lives in TwCore.
#pragma once

#define TW_LOG_FILE_NAME "Amb2_Log.txt"
#define TW_LOG_SWITCH_NAME "Enable AMB logging"
#define TW_LOG_MESSAGE_SIZE 512

// Writes one message under a tag heading. 0 if logging is off or an argument is null, else 1.
int twLog(const char* pstrTag, const char* pstrFormat, ...) __attribute__((format(printf, 2, 3)));
// The same under the heading "[error] <tag>". 0 if an argument is null, else 1.
int twLogError(const char* pstrTag, const char* pstrFormat, ...) __attribute__((format(printf, 2, 3)));
