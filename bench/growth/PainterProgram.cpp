// Shows a desktop on the display that the environment names and scrolls a part of it 30 times a
// second, until it is ended:
//   painter X Y WIDTH HEIGHT      nothing moves where WIDTH is 0

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "bench/capture/Painter.h"

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 5;
    if (argumentCount != expectedArguments) {
        (void)std::fputs("painter X Y WIDTH HEIGHT\n", stderr);
        return EXIT_FAILURE;
    }
    const velmora::ViewerRectangle part{std::atoi(arguments[1]), std::atoi(arguments[2]),
                                        std::atoi(arguments[3]), std::atoi(arguments[4])};
    velmora::bench::Painter painter;
    if (part.width > 0) {
        painter.move(part);
    }
    std::puts("painting");
    (void)std::fflush(stdout);  // a broken pipe ends the program by itself
    for (;;) {
        ::pause();
    }
}
