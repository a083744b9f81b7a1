// make_error_log FILE MEGABYTES: writes a log of library-rendered records of
// at least that size, for measuring kxtool log on large files:
//   make_error_log /tmp/big.xml 100 && /usr/bin/time -v kxtool log --summary /tmp/big.xml
#include <cstdio>
#include <cstdlib>

#include "SampleLog.h"

int main(int argc, char** argv) {
    const unsigned long megabytes = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
    FILE* out = megabytes != 0 ? std::fopen(argv[1], "wb") : nullptr;
    if (out == nullptr) {
        std::fprintf(stderr,
                     "usage: make_error_log FILE MEGABYTES (a writable file, 1 MB or more)\n");
        return 2;
    }
    unsigned long long written = 0;
    unsigned long records = 0;
    while (written < megabytes * 1000000ull) {
        const std::string xml = KxToolTest::VariedRecord(records++).Xml();
        written += std::fwrite(xml.data(), 1, xml.size(), out);
    }
    if (std::fclose(out) != 0) {
        std::fprintf(stderr, "make_error_log: cannot write '%s'\n", argv[1]);
        return 1;
    }
    std::printf("%lu records, %llu bytes\n", records, written);
    return 0;
}
