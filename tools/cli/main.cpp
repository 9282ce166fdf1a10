#include <unistd.h>

#include <iostream>

#include "cli.h"

int main(int argc, char** argv) {
    return kevra_tool::run_cli(argc, argv, std::cout, std::cerr, ::isatty(STDERR_FILENO) == 1);
}
