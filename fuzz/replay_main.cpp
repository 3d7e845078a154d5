// Runs a fuzz target over every file of its corpus directory (kept inputs and
// past crash inputs), so that the suite replays them in every build.
#include <dirent.h>
#include <stdint.h>
#include <stdio.h>

#include <fstream>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    DIR* dir = opendir(argv[1]);
    if (!dir) {
        perror(argv[1]);
        return 2;
    }
    int replayed = 0;
    while (struct dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        std::ifstream in(std::string(argv[1]) + "/" + entry->d_name, std::ios::binary);
        std::stringstream content;
        content << in.rdbuf();
        std::string input = content.str();
        LLVMFuzzerTestOneInput((const uint8_t*)input.data(), input.size());
        replayed++;
    }
    closedir(dir);
    printf("replayed %d inputs\n", replayed);
    return 0;
}
