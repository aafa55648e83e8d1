// Runs a fuzz target over files and folders of files without libFuzzer, so that the seed
// corpus and every hostile file found so far replay as a plain test in every build.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

static int RunFile(const std::string &path)
{
    FILE *file = fopen(path.c_str(), "rb");
    if (file == nullptr) return 0;
    std::vector<uint8_t> data;
    uint8_t buffer[65536];
    size_t got;
    while ((got = fread(buffer, 1, sizeof buffer, file)) > 0)
        data.insert(data.end(), buffer, buffer + got);
    fclose(file);
    // libFuzzer never passes a null pointer, not even for an empty input.
    static const uint8_t EMPTY[1] = {0};
    LLVMFuzzerTestOneInput(data.empty() ? EMPTY : data.data(), data.size());
    return 1;
}

static int RunPath(const std::string &path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return 0;
    if (!S_ISDIR(status.st_mode)) return RunFile(path);
    int count = 0;
    DIR *folder = opendir(path.c_str());
    if (folder == nullptr) return 0;
    while (struct dirent *entry = readdir(folder)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        count += RunPath(path + "/" + name);
    }
    closedir(folder);
    return count;
}

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; i++)
        count += RunPath(argv[i]);
    printf("replayed %d inputs\n", count);
    return 0;
}
