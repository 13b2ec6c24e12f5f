#include <cstdio>
#include <exception>
#include <new>

#include "Interrupt.h"
#include "failures.h"
#include "runTool.h"
#include "streams.h"

int main(int argc, char** argv) {
    fillStandardStreams();
    catchInterrupts();
    try {
        return runTool(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("zef: not enough memory\n", stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zef: %s\n", error.what());
    } catch (...) {
        std::fputs("zef: an unknown error\n", stderr);
    }
    return EXIT_COULD_NOT;
}
