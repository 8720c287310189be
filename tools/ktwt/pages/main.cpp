// Writes the man pages and completions: ktwt_pages_writer DIRECTORY makes DIRECTORY/man and DIRECTORY/completions.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

#include "writers.h"

namespace {

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file << text;
    file.close();
}

void writeAll(const std::filesystem::path& directory) {
    const std::filesystem::path man = directory / "man";
    const std::filesystem::path completions = directory / "completions";
    for (const auto& part : {man, completions}) {
        std::filesystem::remove_all(part);  // a page of a command that is no more would be installed
        std::filesystem::create_directories(part);
    }
    const CommandLine line;
    const std::vector<CommandFacts> commands = commandFacts(line);
    write(man / "ktwt.1", programPage(line));
    for (const CommandFacts& command : commands) write(man / ("ktwt-" + command.name + ".1"), commandPage(command, commands));
    write(completions / "ktwt.bash", bashCompletion(commands));
    write(completions / "_ktwt", zshCompletion(commands));
    write(completions / "ktwt.fish", fishCompletion(commands));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: ktwt_pages_writer DIRECTORY\n", stderr);
        return 2;
    }
    try {
        writeAll(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ktwt_pages_writer: %s: %s\n", argv[1], error.what());
        return 3;
    }
}
