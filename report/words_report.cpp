// Findings that only a report has: the validation itself raises none of them.
#include "report/words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr words rows[] = {
    {"run-ended-early",
     word_kind::finding,
     cause_class::configuration,
     "The run ended before its first stage",
     "The validation could not begin: the command line, the configuration file or a file that they name was "
     "refused. Nothing was judged.",
     "A spelling mistake in an option or in `kxl.ini`, or a file that is not there.",
     {"Read the last line of the console: it names the option, the line of `kxl.ini` or the file to be "
      "corrected. `vellum` without arguments prints all options; the documented sample `kxl.ini` comes with "
      "the program.",
      person::configuration_keeper}},
    {"run-interrupted",
     word_kind::finding,
     cause_class::environment,
     "The run was ended by a signal",
     "The program was stopped before it had judged everything. There is no verdict: treat the device as not "
     "validated.",
     "Somebody pressed Ctrl-C, the system was shut down, or a time limit ended the program.",
     {"Start the validation again and let it end by itself; give it at least a minute where a limit ends it. "
      "A firmware that does not answer takes ten seconds a command.",
      person::administrator}},
    {"out-of-memory",
     word_kind::finding,
     cause_class::environment,
     "The memory was not enough",
     "The program got no memory from the system and ended or left something out. Treat the device as not "
     "validated.",
     "Other programs take all memory, or a limit is set for this one.",
     {"Close other programs or raise the memory limit, and validate again. In a pre-installation environment "
      "start it before other tools.",
      person::administrator}},
};

}  // namespace

std::span<const words> report_words() {
    return rows;
}

}  // namespace vellum
