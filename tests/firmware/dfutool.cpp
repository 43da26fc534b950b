// Stands in for the tool that updates over USB: does what the name of its image says.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

int main(int argc, char **argv)
{
    const std::string image = argc == 3 ? argv[2] : "";
    if (image == "silent")
        pause();
    if (image == "crash")
        std::raise(SIGKILL);
    if (image == "lines" || image == "stream") {
        const std::string block(image == "lines" ? 63 : 64, 'x');
        for (int i = 0; i < 100'000'000 / 64; ++i)
            std::printf("%s%s", block.c_str(), image == "lines" ? "\n" : "");
        return 0;
    }
    if (image == "zero")
        return std::fwrite("ab\0cd", 1, 5, stdout) == 5 ? 0 : 1;
    if (image == "half")
        return std::fputs("<b>\xc3", stderr) < 0;
    std::printf("[%s] [%s]", argv[1], image.c_str());
    return std::atoi(image.c_str());
}
