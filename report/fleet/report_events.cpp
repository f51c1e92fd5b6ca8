#include "report/fleet/report_events.h"

#if defined(__SSE2__)
#define RAPIDJSON_SSE2  // skips the blanks between what stands on lines of its own
#endif
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/text.h"

namespace vellum::fleet {
namespace {

constexpr std::size_t deepest = 64;
constexpr std::size_t most_items = 4096;  // of one list that is kept

// Where in a report the reader is.
enum class place : std::uint8_t {
    ignored,
    outside,
    report,
    run,
    cause,
    device,
    stages,
    stage,
    findings,
    finding,
    fields,
    cautions,
    pcrs,
    pcr,
    inputs,
    input,
    pmf,
    signers,
    signer,
    evidence,
};

enum class shape : std::uint8_t { object, list };

struct door {
    place from;
    std::string_view key;  // empty: of the items of a list
    place to;
    shape how;
};

constexpr door doors[] = {
    {place::outside, "", place::report, shape::object},
    {place::report, "run", place::run, shape::object},
    {place::report, "cause", place::cause, shape::object},
    {place::report, "device", place::device, shape::object},
    {place::report, "stages", place::stages, shape::list},
    {place::report, "other_findings", place::findings, shape::list},
    {place::report, "cautions", place::cautions, shape::list},
    {place::report, "pcrs", place::pcrs, shape::list},
    {place::report, "inputs", place::inputs, shape::list},
    {place::report, "pmf", place::pmf, shape::object},
    {place::report, "evidence", place::evidence, shape::object},
    {place::stages, "", place::stage, shape::object},
    {place::stage, "findings", place::findings, shape::list},
    {place::evidence, "findings", place::findings, shape::list},
    {place::findings, "", place::finding, shape::object},
    {place::cautions, "", place::finding, shape::object},
    {place::finding, "fields", place::fields, shape::object},
    {place::pcrs, "", place::pcr, shape::object},
    {place::inputs, "", place::input, shape::object},
    {place::pmf, "signers", place::signers, shape::list},
    {place::signers, "", place::signer, shape::object},
};

// An item of a list while it is read.
struct item {
    std::string id;
    std::string state;
    std::string value;
    std::int64_t number = -1;
};

// Everything that is read to.
struct reading {
    read_values values;
    item stage;
    item current;  // of any other list
};

using text_getter = std::string& (*)(reading&);
using number_getter = std::int64_t& (*)(reading&);
using flag_getter = bool& (*)(reading&);

// What is kept, with one of the three.
struct kept {
    place in;
    std::string_view key;
    text_getter text = nullptr;
    number_getter number = nullptr;
    flag_getter flag = nullptr;
};

template <std::string read_values::*Member>
std::string& value_text(reading& to) {
    return to.values.*Member;
}
template <std::string platform_facts::*Member>
std::string& fact_text(reading& to) {
    return to.values.facts.*Member;
}
template <std::int64_t read_values::*Member>
std::int64_t& value_number(reading& to) {
    return to.values.*Member;
}
template <std::string item::*Member>
std::string& stage_text(reading& to) {
    return to.stage.*Member;
}
template <std::string item::*Member>
std::string& item_text(reading& to) {
    return to.current.*Member;
}
std::int64_t& item_number(reading& to) {
    return to.current.number;
}
bool& accepted_flag(reading& to) {
    return to.values.accepted;
}

constexpr kept kept_values[] = {
    {place::report, "schema", value_text<&read_values::schema>},
    {place::report, "schema_version", nullptr, value_number<&read_values::schema_version>},
    {place::report, "tool_version", fact_text<&platform_facts::tool_version>},
    {place::report, "verdict", value_text<&read_values::verdict>},
    {place::report, "exit_code", nullptr, value_number<&read_values::exit_code>},
    {place::run, "mode", fact_text<&platform_facts::mode>},
    {place::run, "host", value_text<&read_values::host>},
    {place::run, "recorded_device", value_text<&read_values::recorded_device>},
    {place::run, "started", value_text<&read_values::started>},
    {place::run, "microseconds", nullptr, value_number<&read_values::microseconds>},
    {place::cause, "id", value_text<&read_values::cause>},
    {place::device, "id", value_text<&read_values::device_id>},
    {place::device, "id_source", value_text<&read_values::id_source>},
    {place::device, "serial", value_text<&read_values::serial>},
    {place::device, "product", fact_text<&platform_facts::product>},
    {place::device, "sku", fact_text<&platform_facts::sku>},
    {place::device, "bios_version", fact_text<&platform_facts::bios_version>},
    {place::device, "os_version", fact_text<&platform_facts::os_version>},
    {place::device, "orbis_version", fact_text<&platform_facts::orbis_version>},
    {place::device, "firmware_version", fact_text<&platform_facts::firmware_version>},
    {place::device, "driver_version", fact_text<&platform_facts::driver_version>},
    {place::device, "feature_state", fact_text<&platform_facts::feature_state>},
    {place::device, "seal_state", fact_text<&platform_facts::seal_state>},
    {place::stage, "id", stage_text<&item::id>},
    {place::stage, "state", stage_text<&item::state>},
    {place::finding, "id", item_text<&item::id>},
    {place::fields, "pcr", item_text<&item::value>},
    {place::pcr, "pcr", nullptr, item_number},
    {place::pcr, "tpm", item_text<&item::value>},
    {place::input, "what", item_text<&item::id>},
    {place::input, "sha256", item_text<&item::value>},
    {place::pmf, "expires", value_text<&read_values::pmf_expires>},
    {place::signer, "not_after", item_text<&item::value>},
    {place::evidence, "accepted", nullptr, nullptr, accepted_flag},
    {place::evidence, "key_name", value_text<&read_values::key_name>},
    {place::evidence, "device_id", value_text<&read_values::expected_id>},
    {place::evidence, "device_id_source", value_text<&read_values::expected_source>},
};

// The reader's events, by its names; false ends the reading, with the reason.
class report_events {
  public:
    bool Null() { return true; }
    bool Bool(bool value);
    bool Int(int value) { return number(value); }
    bool Uint(unsigned value) { return number(value); }
    bool Int64(std::int64_t value) { return number(value); }
    bool Uint64(std::uint64_t) { return !is_kept() || refuse_type(); }
    bool Double(double) { return !is_kept() || refuse_type(); }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return false; }
    bool String(const char* text, rapidjson::SizeType size, bool);
    bool Key(const char* text, rapidjson::SizeType size, bool);
    bool StartObject() { return enter(shape::object); }
    bool EndObject(rapidjson::SizeType) { return leave(); }
    bool StartArray() { return enter(shape::list); }
    bool EndArray(rapidjson::SizeType) { return leave(); }

    read_values& values() { return to_.values; }
    const std::string& why() const { return why_; }

  private:
    [[nodiscard]] bool refuse(std::string why);
    [[nodiscard]] bool refuse_type() { return refuse("its " + std::string(kept_->key) + " has another type"); }
    [[nodiscard]] bool number(std::int64_t value);
    [[nodiscard]] bool enter(shape how);
    [[nodiscard]] bool leave();
    [[nodiscard]] bool is_kept() const { return kept_ != nullptr; }
    void end_stage();
    [[nodiscard]] bool end_finding();
    [[nodiscard]] bool end_item();

    reading to_;
    std::array<place, deepest> way_ = {place::outside};
    std::size_t depth_ = 0;
    const kept* kept_ = nullptr;  // where the value behind the last key goes
    const door* door_ = nullptr;  // where it leads
    std::size_t unsaid_ = 0;      // findings that were there before the current stage
    std::string why_;
};

bool report_events::refuse(std::string why) {
    why_ = std::move(why);
    return false;
}

bool report_events::Key(const char* text, rapidjson::SizeType size, bool) {
    kept_ = nullptr;
    door_ = nullptr;
    const place here = way_[depth_];
    if (here == place::ignored) {
        return true;
    }
    const std::string_view key(text, size);
    const auto* const value = std::find_if(std::begin(kept_values), std::end(kept_values),
                                           [&](const kept& row) { return row.in == here && row.key == key; });
    if (value != std::end(kept_values)) {
        kept_ = value;
        return true;
    }
    const auto* const found = std::find_if(std::begin(doors), std::end(doors),
                                           [&](const door& row) { return row.from == here && row.key == key; });
    door_ = found != std::end(doors) ? found : nullptr;
    return true;
}

bool report_events::String(const char* text, rapidjson::SizeType size, bool) {
    if (!is_kept()) {
        return true;
    }
    if (kept_->text == nullptr) {
        return refuse_type();
    }
    if (size > longest_text) {
        return refuse("its " + std::string(kept_->key) + " is too long");
    }
    kept_->text(to_).assign(text, size);
    return true;
}

bool report_events::number(std::int64_t value) {
    if (!is_kept()) {
        return true;
    }
    if (kept_->number == nullptr) {
        return refuse_type();
    }
    kept_->number(to_) = value;
    return true;
}

bool report_events::Bool(bool value) {
    if (!is_kept()) {
        return true;
    }
    if (kept_->flag == nullptr) {
        return refuse_type();
    }
    kept_->flag(to_) = value;
    return true;
}

// A list in the place of a value that is kept is passed over when it is a field of a finding, which may name several.
bool report_events::enter(shape how) {
    if (kept_ != nullptr && kept_->in != place::fields) {
        return refuse_type();
    }
    if (depth_ + 1 == way_.size()) {
        return refuse("it is too deep");
    }
    const door* through = kept_ != nullptr ? nullptr : door_;
    if (through == nullptr && kept_ == nullptr) {
        const auto* const found = std::find_if(std::begin(doors), std::end(doors), [&](const door& row) {
            return row.from == way_[depth_] && row.key.empty();
        });
        through = found != std::end(doors) ? found : nullptr;
    }
    if (through != nullptr && through->how != how) {
        return refuse("its " + std::string(through->key.empty() ? "content" : through->key) + " has another type");
    }
    kept_ = nullptr;
    door_ = nullptr;
    way_[++depth_] = through != nullptr ? through->to : place::ignored;
    if (way_[depth_] == place::stage) {
        to_.stage = {};
        unsaid_ = to_.values.findings.size();
    } else if (way_[depth_] != place::fields && way_[depth_] != place::ignored) {
        to_.current = {};
    }
    return true;
}

// What a stage that passed has found speaks against nobody.
void report_events::end_stage() {
    std::vector<std::string>& findings = to_.values.findings;
    if (to_.stage.state != "failed" && to_.stage.state != "warned") {
        findings.resize(unsaid_);
    } else if (findings.size() == unsaid_) {
        findings.push_back(to_.stage.id);
    }
}

bool report_events::end_finding() {
    if (to_.current.id.empty()) {
        return true;  // a message without an identifier
    }
    const auto pcr = parse_decimal<unsigned>(to_.current.value);
    to_.values.findings.push_back(to_.current.id + (pcr && *pcr < pcr_count ? "/" + std::to_string(*pcr) : ""));
    return to_.values.findings.size() <= most_findings || refuse("it has too many findings");
}

bool report_events::end_item() {
    read_values& values = to_.values;
    item& read = to_.current;
    switch (way_[depth_]) {
        case place::stage: end_stage(); return true;
        case place::finding: return end_finding();
        case place::signer: values.certificate_ends.push_back(read.value); break;
        case place::input: values.inputs.emplace_back(read.id, read.value); break;
        case place::pcr:
            if (!read.value.empty()) {
                values.pcrs.emplace_back(read.number, read.value);
            }
            break;
        default: break;
    }
    return std::max({values.certificate_ends.size(), values.inputs.size(), values.pcrs.size()}) <= most_items ||
           refuse("a list of it is too long");
}

bool report_events::leave() {
    const bool ended = end_item();
    --depth_;
    kept_ = nullptr;
    door_ = nullptr;
    return ended;
}

}  // namespace

bool read_events(std::string& text, read_values& out, std::string& why) {
    if (text.size() > largest_report) {
        why = "it is too large";
        return false;
    }
    // The reader looks at a block of bytes at once, which may reach beyond the end.
    constexpr std::size_t block = 16;
    const std::size_t size = text.size();
    text.append(block, '\0');
    report_events events;
    rapidjson::Reader reader;
    rapidjson::InsituStringStream stream(text.data());
    const rapidjson::ParseResult result =
        reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseInsituFlag>(stream, events);
    if (result.IsError()) {
        why = !events.why().empty() ? events.why()
                                    : std::string("it is no JSON: ") + rapidjson::GetParseError_En(result.Code()) +
                                          " At byte " + std::to_string(result.Offset()) + ".";
        return false;
    }
    if (stream.Tell() < size) {
        why = "it is no JSON: there is a zero byte.";
        return false;
    }
    out = std::move(events.values());
    return true;
}

}  // namespace vellum::fleet
