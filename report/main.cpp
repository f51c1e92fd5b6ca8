// vellum-report: validates as vellum does, and reports for machines and for people.
#include "report/run_command.h"

int main(int argc, char** argv) {
    return vellum::reporting::run_command({argv + 2, static_cast<std::size_t>(argc > 1 ? argc - 2 : 0)});
}
