// Stands in for the tool that updates over USB: does what the name of its image says.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char **argv)
{
    const std::string image = argc == 3 ? argv[2] : "";
    const std::string line = image == "lines"    ? std::string(63, 'x') + '\n'
                             : image == "stream" ? std::string(64, 'x')
                                                 : "";
    for (std::size_t written = 0; !line.empty() && written < 10'000'000; written += line.size())
        std::fputs(line.c_str(), stdout);
    while (image == "silent" && std::getchar() != EOF) {
    }
    if (image == "crash")
        return std::raise(9); // kills on POSIX; on Windows it fails, and an exit code of -1 counts as a crash
    else if (image == "zero")
        std::fwrite("ab\0cd", 1, 5, stdout);
    else if (image == "half")
        std::fputs("<b>\xc3", stderr);
    else if (line.empty())
        std::printf("[%s] [%s]", argv[1], image.c_str());
    return std::atoi(image.c_str());
}
