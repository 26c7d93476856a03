#include "startup.h"

int main(int argc, char** argv) {
    run_server(argc, argv);
}
