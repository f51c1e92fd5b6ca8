#include "app/run.h"
#include "native.h"  // of the system that the build is for

int main(int argc, char** argv) {
    vellum::native_platform machine;
    return vellum::run(argc, argv, machine.services());
}
