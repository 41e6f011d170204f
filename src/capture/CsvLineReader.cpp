#include "capture/CsvLineReader.h"

namespace {

// Sixteen bytes at a time through the compiler's portable vector types (SSE2 on x86-64, NEON on arm64).
typedef signed char Bytes16 __attribute__((vector_size(16)));
typedef unsigned long long Words2 __attribute__((vector_size(16)));

bool isSpecial(unsigned char byte) {
    return byte >= 0x80 || (byte >= 0x0B && byte <= 0x0D);
}

} // namespace

bool CsvLineReader::needsCarefulScan(const char* begin, const char* end) {
    const size_t size = static_cast<size_t>(end - begin);
    size_t at = 0;
    Bytes16 found = {};
    for (; at + 16 <= size; at += 16) {
        Bytes16 bytes;
        std::memcpy(&bytes, begin + at, 16);
        // As signed bytes, everything from 0x80 up is negative.
        found |= (bytes < 0) | ((bytes > 0x0A) & (bytes < 0x0E));
    }
    const Words2 words = reinterpret_cast<Words2>(found);
    if ((words[0] | words[1]) != 0)
        return true;
    for (; at < size; ++at) {
        if (isSpecial(static_cast<unsigned char>(begin[at])))
            return true;
    }
    return false;
}

CsvLineReader::Terminator CsvLineReader::findTerminator(const char* begin, const char* end, bool atEnd) {
    for (const char* at = begin; at < end; ++at) {
        const unsigned char byte = static_cast<unsigned char>(*at);
        if (byte >= 0x0A && byte <= 0x0D)
            return {at, at + 1};
        if (byte == 0xC2) { // NEL is C2 85
            if (end - at < 2) {
                if (!atEnd)
                    return {};
                continue;
            }
            if (static_cast<unsigned char>(at[1]) == 0x85)
                return {at, at + 2};
        } else if (byte == 0xE2) { // LS and PS are E2 80 A8 and E2 80 A9
            if (end - at < 3) {
                if (!atEnd)
                    return {};
                continue;
            }
            if (static_cast<unsigned char>(at[1]) == 0x80 &&
                (static_cast<unsigned char>(at[2]) == 0xA8 || static_cast<unsigned char>(at[2]) == 0xA9))
                return {at, at + 3};
        }
    }
    return {};
}
