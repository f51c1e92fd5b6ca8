// What passed and still deserves a word; the device, the inputs, the run itself.
#include <algorithm>
#include <iterator>

#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

constexpr std::size_t most_cautions = 100;
constexpr std::size_t most_inputs = 50;

struct device_fact {
    markup name;
    std::string device_record::*text;
};

constexpr device_fact device_facts[] = {
    {"Product", &device_record::product},
    {"SKU", &device_record::sku},
    {"Serial number", &device_record::serial},
    {"UUID", &device_record::uuid},
    {"Device ID", &device_record::id},
    {"Source of the Device ID", &device_record::id_source},
    {"Feature", &device_record::feature_state},
    {"Seal", &device_record::seal_state},
    {"BIOS", &device_record::bios_version},
    {"Orbis firmware", &device_record::orbis_version},
    {"Firmware's interface", &device_record::firmware_version},
    {"PELI driver", &device_record::driver_version},
    {"Operating system", &device_record::os_version},
};

// A caution that follows another of its kind is explained with it.
void write_caution(const caution_record& caution, bool explained, html_writer& out) {
    out.raw("<li class='caution'><h3>");
    write_sign("warned", out);
    out.raw("<span>").prose(caution.meaning->title).raw("</span></h3>\n<p>").text(caution.says).raw("</p>\n");
    if (!explained) {
        begin_folded("more-facts", "What it means and what to do", out);
        write_words(*caution.meaning, out);
        out.raw("<p class='small'><code>").text(caution.meaning->id).raw("</code></p>");
        end_folded(out);
    }
    out.raw("</li>\n");
}

std::string command_text(const run_record& record) {
    std::string out;
    for (const std::string& argument : record.arguments) {
        out += (out.empty() ? "" : " ") + argument;
    }
    return out;
}

std::string plain_name(std::string name) {
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

}  // namespace

bool has_cautions(const run_record& record) {
    return !record.cautions.empty();
}

void write_cautions(const run_record& record, html_writer& out) {
    const std::size_t shown = std::min(record.cautions.size(), most_cautions);
    const words* explained = nullptr;
    out.raw("<p>They change neither the verdict nor the exit code.</p>\n<ul class='cautions'>\n");
    for (std::size_t i = 0; i < shown; ++i) {
        write_caution(record.cautions[i], record.cautions[i].meaning == explained, out);
        explained = record.cautions[i].meaning;
    }
    out.raw("</ul>\n");
    write_more(record.cautions.size(), shown, "caution", out);
}

bool has_device(const run_record& record) {
    return std::any_of(std::begin(device_facts), std::end(device_facts),
                       [&record](const device_fact& fact) { return !(record.device.*fact.text).empty(); });
}

void write_device(const run_record& record, html_writer& out) {
    out.raw("<dl class='facts wide'>\n");
    for (const device_fact& fact : device_facts) {
        write_fact(fact.name, record.device.*fact.text, out);
    }
    out.raw("</dl>\n");
}

bool has_inputs(const run_record& record) {
    return !record.inputs.empty();
}

void write_inputs(const run_record& record, html_writer& out) {
    const std::size_t shown = std::min(record.inputs.size(), most_inputs);
    begin_table("inputs", "What the verdict rests on", {"Input", "Bytes", "SHA-256"}, out);
    for (std::size_t i = 0; i < shown; ++i) {
        const input_record& input = record.inputs[i];
        out.raw("<tr><th scope='row'>").text(plain_name(input.what)).raw("<span class='sub'>");
        out.text(input.path.empty() ? "from the machine" : input.path).raw("</span></th><td class='n'>");
        out.number(input.size).raw("</td><td><code>").text(input.sha256).raw("</code></td></tr>\n");
    }
    end_table(out);
    write_more(record.inputs.size(), shown, "input", out);
}

void write_run(const run_record& record, html_writer& out) {
    out.raw("<dl class='facts wide'>\n<div><dt>Started</dt><dd>").time(record.started).raw("</dd></div>\n");
    write_fact("Took", duration_text(record.microseconds), out);
    write_fact("Mode", record.mode, out);
    write_fact("Host", record.host, out);
    write_fact("Recorded device", record.device_folder, out);
    write_fact("Ended by", record.signal, out);
    write_fact("Exit code", std::to_string(record.exit_code), out);
    write_fact("Version", record.tool_version, out);
    out.raw("<div class='long'><dt>Command</dt><dd><code>")
        .text(command_text(record))
        .raw("</code></dd></div>\n</dl>\n");
}

}  // namespace vellum::reporting
