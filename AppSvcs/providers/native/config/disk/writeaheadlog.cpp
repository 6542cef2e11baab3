#include "disk/writeaheadlog.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace AppConfig {

namespace {

// the format is SQLite's, and documented: https://www.sqlite.org/fileformat2.html#walformat
constexpr std::size_t kHeaderBytes = 32;
constexpr std::size_t kFrameHeaderBytes = 24;
constexpr std::uint32_t kMagic = 0x377f0682;  ///< plus one where checksums are of big-endian words

std::uint32_t wordAt(std::string_view bytes, std::size_t at, bool bBigEndian = true) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[at + (bBigEndian ? i : 3 - i)]);
        word = word << 8 | byte;
    }
    return word;
}

/// Two sums over pairs of words, each going into the other.
struct Checksum {
    void add(std::string_view bytes) {
        for (std::size_t at = 0; at < bytes.size(); at += 8) {
            first += wordAt(bytes, at, bBigEndian) + second;
            second += wordAt(bytes, at + 4, bBigEndian) + first;
        }
    }
    [[nodiscard]] bool isAt(std::string_view bytes, std::size_t at) const {
        return wordAt(bytes, at) == first && wordAt(bytes, at + 4) == second;
    }

    bool bBigEndian;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
};

int read(sqlite3_file* file, std::string& bytes, std::size_t nAt) {
    return file->pMethods->xRead(file, bytes.data(), static_cast<int>(bytes.size()),
                                 static_cast<sqlite3_int64>(nAt));
}

}  // namespace

int examineLog(sqlite3* connection, bool& bStray) {
    sqlite3_file* log = nullptr;
    sqlite3_int64 nSize = 0;
    int nCode = sqlite3_file_control(connection, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    bStray = false;
    if (nCode != SQLITE_OK || log == nullptr || log->pMethods == nullptr) {
        return nCode;
    }
    nCode = log->pMethods->xFileSize(log, &nSize);
    if (nCode != SQLITE_OK || nSize == 0) {
        return nCode;
    }
    const auto nBytes = static_cast<std::size_t>(nSize);
    std::string sHeader(kHeaderBytes, '\0');
    if (nBytes >= kHeaderBytes) {
        nCode = read(log, sHeader, 0);
    }
    const std::uint32_t nMagic = wordAt(sHeader, 0);
    Checksum checksum{.bBigEndian = nMagic == kMagic + 1};
    checksum.add(std::string_view(sHeader).substr(0, kHeaderBytes - 8));
    bStray = (nMagic & ~1U) != kMagic || !checksum.isAt(sHeader, kHeaderBytes - 8);
    const std::size_t nPage = wordAt(sHeader, 8);
    if (nCode != SQLITE_OK || bStray || nBytes < kHeaderBytes + kFrameHeaderBytes + nPage) {
        return nCode;
    }
    std::string sFrame(kFrameHeaderBytes + nPage, '\0');
    nCode = read(log, sFrame, kHeaderBytes);
    const std::string_view frame = sFrame;
    checksum.add(frame.substr(0, 8));
    checksum.add(frame.substr(kFrameHeaderBytes));
    // the salts, which are new each time that the log is started over
    bStray =
        frame.substr(8, 8) != std::string_view(sHeader).substr(16, 8) || !checksum.isAt(frame, 16);
    return nCode;
}

}  // namespace AppConfig
