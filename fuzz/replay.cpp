// replay TARGET FILE|FOLDER... - runs a fuzz target on the contents of files, without libFuzzer.
#include "targets.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path &path) {
    std::vector<fs::path> files;
    if (!fs::is_directory(path))
        return {path};
    for (const fs::directory_entry &entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    return files;
}

// The name stands there before anything can go wrong.
bool replay(const qldapx_fuzz::Target &target, const fs::path &file) {
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return false;
    target.run(target, {std::istreambuf_iterator<char>(stream), {}});
    return true;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::fprintf(stderr, "Usage: %s TARGET FILE|FOLDER...\n", argv[0]);
        return 2;
    }
    const qldapx_fuzz::Target &target = qldapx_fuzz::targetNamed(argv[1]);
    int runs = 0;
    for (int i = 2; i < argc; ++i)
        for (const fs::path &file : filesOf(argv[i])) {
            if (!replay(target, file)) {
                std::fprintf(stderr, "%s cannot be read.\n", file.c_str());
                return 2;
            }
            ++runs;
        }
    std::printf("%d runs\n", runs);
    return runs > 0 ? 0 : 2;
}
