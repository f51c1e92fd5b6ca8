// The command line of diff.
#include "base/text.h"
#include "lab/diff.h"
#include "tools/arguments.h"
#include "tools/option_table.h"

namespace vellum::lab {
namespace {

class diff_options {
  public:
    diff_options() { table_.arrange({pcrs_, json_}, {reference_, live_}); }

    request_reading read(std::span<char* const> arguments, diff_request& out) {
        const request_reading reading = table_.read(arguments);
        return reading == request_reading::complete ? take_values(out) : reading;
    }

  private:
    request_reading take_values(diff_request& out);

    option_table table_ = option_table("vellum-lab diff");
    arg_str* pcrs_ = table_.own(arg_str0(nullptr, "pcr", "LIST", "these PCRs alone, such as 0,2,4-7"));
    arg_lit* json_ = table_.own(arg_lit0(nullptr, "json", "for machines, with the version of the schema"));
    arg_file* reference_ = table_.own(arg_file1(nullptr, nullptr, "REFERENCE", "the log of the boot that was right"));
    arg_file* live_ = table_.own(arg_file1(nullptr, nullptr, "LIVE", "the log that is set beside it"));
};

request_reading diff_options::take_values(diff_request& out) {
    out.form = json_->count > 0 ? diff_form::json : diff_form::text;
    out.reference = reference_->filename[0];
    out.live = live_->filename[0];
    if (pcrs_->count > 0) {
        const auto mask = parse_pcr_list(pcrs_->sval[0]);
        if (!mask) {
            return table_.refuse("\"" + shown_text(pcrs_->sval[0]) + "\" is no list of PCRs, such as 0,2,4-7");
        }
        out.pcrs = *mask;
    }
    return request_reading::complete;
}

}  // namespace

request_reading read_diff_request(std::span<char* const> arguments, diff_request& out) {
    return diff_options().read(arguments, out);
}

}  // namespace vellum::lab
