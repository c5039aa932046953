#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/**
 * A folder of the test's own, gone with everything in it at the end of its life. It lies where the
 * system wants temporary files, unless that path is so long that the 107 bytes of a socket's
 * address would not hold it.
 */
class TempDir {
public:
    TempDir() {
        std::string name = parent() + "/songlatch-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("mkdtemp " + name);
        }
        mPath = name;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    /** Without a slash at its end. */
    std::string path() const { return mPath; }

    /** The full path of a file or folder in it, which need not exist. */
    std::string path(std::string const& name) const { return mPath + "/" + name; }

    bool has(std::string const& name) const { return std::filesystem::exists(path(name)); }

    /** The bytes of a file in it; empty if there is none. */
    std::string read(std::string const& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    void write(std::string const& name, std::string const& bytes) const {
        std::ofstream file(path(name), std::ios::binary | std::ios::trunc);
        file << bytes;
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + path(name));
        }
    }

    void remove(std::string const& name) const { std::filesystem::remove_all(path(name)); }

private:
    static std::string parent() {
        constexpr std::size_t LONGEST = 80;
        std::string const usual = std::filesystem::temp_directory_path().string();
        return usual.size() <= LONGEST ? usual : "/tmp";
    }

    std::string mPath;
};
