// Runs a fuzz target over every file of its corpus directory (kept inputs and
// past crash inputs), so that the suite replays them in every build. The
// emulated root is made before the first library call, so that nothing a
// replay does reaches the host (its syslog included), and removed at the end.
#include "fuzz_root.h"

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    DIR* dir = opendir(argv[1]);
    if (!dir) {
        perror(argv[1]);
        fuzz_root_remove();
        return 2;
    }
    std::vector<std::string> names;
    while (struct dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.') names.push_back(entry->d_name);
    closedir(dir);
    std::sort(names.begin(), names.end());  // the same order in every run
    for (const std::string& name : names) {
        std::ifstream in(std::string(argv[1]) + "/" + name, std::ios::binary);
        std::stringstream content;
        content << in.rdbuf();
        std::string input = content.str();
        LLVMFuzzerTestOneInput((const uint8_t*)input.data(), input.size());
    }
    fuzz_root_remove();
    printf("replayed %zu inputs\n", names.size());
    return 0;
}
