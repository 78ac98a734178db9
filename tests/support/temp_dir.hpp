// A fresh folder per test, removed afterwards, with helpers for file bytes.
#ifndef TERVIK_ROM_TESTS_SUPPORT_TEMP_DIR_HPP
#define TERVIK_ROM_TESTS_SUPPORT_TEMP_DIR_HPP

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

class TempDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::random_device random;
        dir_ = std::filesystem::temp_directory_path() / ("tervikrom-test-" + std::to_string(random()));
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    std::string Path(const std::string& name) const { return (dir_ / name).string(); }

    static std::string ReadBytes(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    static void WriteBytes(const std::string& path, const std::string& bytes) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    // Names of the files in the folder, to see that nothing temporary was left.
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir_)) names.push_back(entry.path().filename());
        return names;
    }

    std::filesystem::path dir_;
};

// The text of the exception (of type E) the action throws.
template <class E = std::exception, class Action>
std::string MessageOf(Action&& action) {
    try {
        action();
    } catch (const E& e) {
        return e.what();
    }
    return "no exception";
}

#endif
