#ifndef TESTS_SUPPORT_LOGFILE_H
#define TESTS_SUPPORT_LOGFILE_H

#include <string>

#include "logmsg.h"
#include "ospaths.h"
#include "temporarydirectory.h"

/// While it lives, the log facility writes to a file of the test's own instead of the log device.
class LogFile {
public:
    LogFile() : m_sPath(m_directory.file("log")), m_before(gLogDevicePath) {
        gLogDevicePath = m_sPath.c_str();
        logmsg_init(0, "test");
    }
    ~LogFile() { gLogDevicePath = m_before; }
    LogFile& operator=(LogFile&&) = delete;  // nor a copy

    [[nodiscard]] std::string content() const { return TemporaryDirectory::contentOf(m_sPath); }

    [[nodiscard]] std::size_t count(const std::string& sText) const {
        const std::string sContent = content();
        std::size_t nCount = 0;
        for (std::size_t at = 0; (at = sContent.find(sText, at)) != std::string::npos; ++at) {
            ++nCount;
        }
        return nCount;
    }

private:
    TemporaryDirectory m_directory;
    std::string m_sPath;
    const char* m_before;
};

#endif
