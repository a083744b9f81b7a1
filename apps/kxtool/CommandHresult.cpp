// kxtool hresult CODE...: the library's text of each code and what the tool
// knows beyond it.
#include <cstdio>
#include <string>

#include "NumberText.h"
#include "ResultCodeInfo.h"
#include "Tool.h"

namespace KxTool {

int RunHresult(int argc, char** argv) {
    if (argc < 1) {
        return UsageError("hresult", "needs at least one code");
    }
    int status = kExitOk;
    for (int i = 0; i < argc; ++i) {
        CodeReading reading;
        std::string problem;
        if (!ReadResultCode(argv[i], reading, problem)) {
            Complain("hresult", "not a result code: '" + std::string(argv[i]) + "': " + problem);
            status = kExitBadInput;
            continue;
        }
        std::printf("%s\n", LibraryText(reading.value).c_str());
        if (reading.alsoDecimal) {
            std::printf("  read '%s' as 8 hexadecimal digits; as a decimal number it is %s\n",
                        argv[i], HexCode(reading.decimalValue).c_str());
        } else if (reading.form == CodeForm::SignExtended) {
            std::printf("  read '%s' as a 32-bit code sign-extended to 64 bits\n", argv[i]);
        }
        for (const std::string& line : Explain(reading.value)) {
            std::printf("  %s\n", line.c_str());
        }
    }
    return status;
}

} // namespace KxTool
