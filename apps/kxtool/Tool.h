// The commands of kxtool and what they share: exit codes and messages.
//
// Every command takes the arguments after its name, writes its results to
// standard output and its messages to standard error, each message naming
// the argument it is about, and returns the exit status:
//   0 ok, 1 bad input (a code, identifier, path, time or file that is wrong,
//   or a log that is broken), 2 bad usage (unknown command or option, missing
//   argument). A command goes on with its other arguments after bad input.
#pragma once

#include <string>

namespace KxTool {

constexpr int kExitOk = 0;
constexpr int kExitBadInput = 1;
constexpr int kExitUsage = 2;

// "kxtool: <command>: <problem>" and the command's usage line on standard
// error; returns kExitUsage.
int UsageError(const char* command, const std::string& problem);
// "kxtool: <command>: <message>" on standard error.
void Complain(const char* command, const std::string& message);
// The usage lines of one command, or of all when `command` is null.
std::string UsageText(const char* command);

int RunHresult(int argc, char** argv);
int RunGuid(int argc, char** argv);
int RunIid(int argc, char** argv);
int RunPath(int argc, char** argv);
int RunLog(int argc, char** argv);

} // namespace KxTool
