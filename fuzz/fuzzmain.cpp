// One libFuzzer program per check of fuzzchecks.h, chosen by KXXML_FUZZ_CHECK at build time.
#include "fuzzchecks.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzChecks::KXXML_FUZZ_CHECK(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    return 0;
}
