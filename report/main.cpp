// vellum-report: validates as vellum does, and reports for machines and for people.
#include <cstddef>

#include "report/capture_command.h"
#include "report/enrol_command.h"
#include "report/explain.h"
#include "report/fleet/fleet_command.h"
#include "report/run_command.h"
#include "report/verify_command.h"
#include "tools/commands.h"

namespace vellum::reporting {
namespace {

constexpr command commands[] = {
    {"run",
     "[--json FILE] [--junit FILE] [--html FILE] [--metrics FILE]\n"
     "          [--summary] [--device DIR] -- VELLUM_OPTIONS...\n"
     "        run vellum and report what it finds; the exit code is vellum's\n",
     run_command, help_answer::command},
    {"capture",
     "DIR [--nonce HEX] [--device RECORDING]\n"
     "          [--file LETTER:PATH]... [--config FILE\n"
     "          [--reference-log FILE] [--external-device-id ID]]\n"
     "        record the running machine into DIR, with what a validation is\n"
     "        configured with and the files of its volumes that are named, and say\n"
     "        which stages the recording can judge: exit code 0 all, 4 some, 1 none;\n"
     "        with --nonce the TPM signs its PCRs too, and 4 also where it cannot\n",
     capture_command},
    {"enrol",
     "RECORDING [--nonce HEX] [--output FILE]\n"
     "        write who the device is that was captured with a nonce: its Device ID and\n"
     "        the key that its TPM signs with\n",
     enrol_command, help_answer::command},
    {"verify",
     "RECORDING --nonce HEX --identity FILE [--own-clock]\n"
     "          [--json FILE] [--junit FILE] [--html FILE] [--metrics FILE]\n"
     "          [--summary] -- VELLUM_OPTIONS...\n"
     "        hold what the TPM signed against the nonce and the identity, and run\n"
     "        vellum on the recording; the exit code is vellum's, 6 for evidence that\n"
     "        is refused\n",
     verify_command, help_answer::command},
    {"fleet",
     "DB [REPORT|DIR|-]... [--html FILE] [--csv FILE] [--json FILE]\n"
     "          [--metrics FILE] [--not-seen-days N] [--expiring-days N] [--now DAY]\n"
     "    vellum-report fleet DB --device DEVICE [--html FILE]\n"
     "    vellum-report fleet DB --drift DEVICE [--from RUN] [--to RUN]\n"
     "    vellum-report fleet DB --forget DEVICE\n"
     "        take reports into a database and say what it holds of all devices;\n"
     "        exit code 4 when a report is refused\n",
     fleet::fleet_command, help_answer::command},
    {"explain",
     "[ID | --markdown]\n"
     "        say what a stage, a finding or a caution means and what to do about it\n",
     explain_command, help_answer::command},
};

constexpr tool report_tool = {"vellum-report", VELLUM_VERSION, commands};

}  // namespace
}  // namespace vellum::reporting

int main(int argc, char** argv) {
    return vellum::run_tool(vellum::reporting::report_tool,
                            {argv + 1, static_cast<std::size_t>(argc > 0 ? argc - 1 : 0)});
}
