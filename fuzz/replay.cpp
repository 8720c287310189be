// Goes through inputs that were found before: the files named, and those of the directories named.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz.h"

namespace {

int replay(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    // A block of exactly its size, so that a sanitizer sees every step beyond it.
    const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
    return 1;
}

int replayAll(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) return replay(path);
    std::vector<std::filesystem::path> found(std::filesystem::directory_iterator(path), {});
    std::sort(found.begin(), found.end());
    for (const std::filesystem::path& file : found) replay(file);
    return static_cast<int>(found.size());
}

}  // namespace

int main(int count, char** paths) {
    int inputs = 0;
    for (int i = 1; i < count; ++i) inputs += replayAll(paths[i]);
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
