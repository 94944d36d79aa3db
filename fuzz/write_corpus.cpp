// write_corpus FOLDER - writes the seeds of every target into FOLDER/<target>_corpus.
#include "corpus.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

bool write(const std::filesystem::path &folder, const qldapx_fuzz::Seed &seed) {
    std::filesystem::path corpus = folder / (seed.target + "_corpus");
    std::filesystem::create_directories(corpus);
    std::ofstream stream(corpus / seed.name, std::ios::binary);
    stream.write(seed.bytes.data(), static_cast<std::streamsize>(seed.bytes.size()));
    stream.close();
    return !stream.fail();
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    for (const qldapx_fuzz::Seed &seed : qldapx_fuzz::seeds())
        if (!write(argv[1], seed)) {
            std::fprintf(stderr, "%s/%s_corpus/%s cannot be written.\n", argv[1],
                         seed.target.c_str(), seed.name.c_str());
            return 1;
        }
    return 0;
}
