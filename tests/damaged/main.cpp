#include "damaged/SampleMedia.h"

#include <cstdlib>
#include <iostream>

// sample-media FOLDER: one small file of every format, in folders named after the families.
int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: sample-media FOLDER\n";
        return EXIT_FAILURE;
    }
    try {
        (void)quorvalent::test::madeSamples(argv[1]);
    } catch (const std::exception &error) {
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
