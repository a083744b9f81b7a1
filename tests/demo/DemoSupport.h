// What the demo instrument's end-to-end tests share beyond the server
// process and the client (ServerProcess.h): text checks and the error log.
#pragma once

#include <expat.h>

#include <string>
#include <vector>

#include "ServerProcess.h"

namespace DemoTest {

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The ErrorLevel of every Error element of a log (the log is a sequence of
// elements without a document element, so it is wrapped in one).
struct ErrorLog {
    bool parsed = false;
    std::vector<std::string> levels;
};

inline ErrorLog ParseErrorLog(const std::string& path) {
    ErrorLog log;
    std::string document = "<ErrorLog>\n" + ReadFile(path) + "</ErrorLog>\n";
    XML_Parser parser = XML_ParserCreate("UTF-8");
    XML_SetUserData(parser, &log);
    XML_SetStartElementHandler(parser,
                               [](void* data, const XML_Char* name, const XML_Char** attributes) {
                                   if (std::string(name) != "Error") {
                                       return;
                                   }
                                   std::string level;
                                   for (int i = 0; attributes[i] != nullptr; i += 2) {
                                       if (std::string(attributes[i]) == "ErrorLevel") {
                                           level = attributes[i + 1];
                                       }
                                   }
                                   static_cast<ErrorLog*>(data)->levels.push_back(level);
                               });
    log.parsed =
        XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1) == XML_STATUS_OK;
    XML_ParserFree(parser);
    return log;
}

} // namespace DemoTest
