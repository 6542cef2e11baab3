#ifndef TESTS_SUPPORT_TEMPORARYDIRECTORY_H
#define TESTS_SUPPORT_TEMPORARYDIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A directory of the test's own, gone with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string sPattern = std::filesystem::temp_directory_path() / "appconfigXXXXXX";
        m_path = mkdtemp(sPattern.data());
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(m_path); }
    TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;  // nor a copy

    [[nodiscard]] std::string path(const std::string& sName = "") const {
        return sName.empty() ? m_path.string() : (m_path / sName).string();
    }

    /// A new file with this content; its path.
    [[nodiscard]] std::string file(const std::string& sName,
                                   const std::string& sContent = "") const {
        std::ofstream(path(sName), std::ios::binary) << sContent;
        return path(sName);
    }

    [[nodiscard]] static std::string contentOf(const std::string& sPath) {
        std::ifstream stream(sPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path m_path;
};

#endif
