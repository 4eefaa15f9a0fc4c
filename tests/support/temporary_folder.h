#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace support {

/// A folder of a test's own that goes with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "tessolt-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Without a separator at the end.
    const std::string& path() const { return path_; }
    /// The path of a name in the folder.
    std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Writes a file of the folder; returns its path.
    std::string write(std::string_view name, std::string_view content) const {
        std::ofstream(file(name), std::ios::binary) << content;
        return file(name);
    }
    /// The content of a file, empty when there is none.
    static std::string read(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

private:
    std::string path_;
};

}  // namespace support
