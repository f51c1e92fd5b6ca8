#include "report/fleet/report_events.h"

#if defined(__SSE2__)
#define RAPIDJSON_SSE2  // skips the blanks between what stands on lines of its own
#endif
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <string_view>

#include "base/text.h"
#include "report/fleet/report_places.h"

namespace vellum::fleet {
namespace {

constexpr std::size_t deepest = 64;
constexpr std::size_t most_signers = 256;

// Rows of both tables, each once in an object.
using seen_keys = std::bitset<std::size(kept_values) + std::size(doors)>;

// The reader's events, by its names; false ends the reading, with the reason.
class report_events {
  public:
    bool Null();
    bool Bool(bool value);
    bool Int(int value) { return number(value); }
    bool Uint(unsigned value) { return number(value); }
    bool Int64(std::int64_t value) { return number(value); }
    bool Uint64(std::uint64_t) { return scalar() && (!is_kept() || refuse_type()); }
    bool Double(double) { return scalar() && (!is_kept() || refuse_type()); }
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
    [[nodiscard]] bool refuse_type();
    [[nodiscard]] bool note_key(std::size_t row, std::string_view key);
    [[nodiscard]] bool scalar();
    [[nodiscard]] bool number(std::int64_t value);
    [[nodiscard]] bool enter(shape how);
    [[nodiscard]] bool leave();
    [[nodiscard]] bool is_kept() const { return kept_ != nullptr; }
    [[nodiscard]] bool end_stage();
    [[nodiscard]] bool end_finding();
    [[nodiscard]] bool end_item();

    reading to_;
    std::array<place, deepest + 1> way_ = {place::outside};
    std::array<seen_keys, deepest + 1> seen_;
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

bool report_events::refuse_type() {
    const std::string_view key = kept_ != nullptr ? kept_->key : door_ != nullptr ? door_->key : "";
    return refuse("its " + std::string(key.empty() ? "content" : key) + " has another type");
}

bool report_events::note_key(std::size_t row, std::string_view key) {
    if (seen_[depth_].test(row)) {
        return refuse("its " + std::string(key) + " stands there twice");
    }
    seen_[depth_].set(row);
    return true;
}

// No value without parts stands where an object or a list is looked into.
bool report_events::scalar() {
    const bool is_item = kept_ == nullptr && door_ == nullptr && item_door(way_[depth_]) != nullptr;
    return (door_ == nullptr && !is_item) || refuse_type();
}

bool report_events::Null() {
    const std::string_view key = kept_ != nullptr ? kept_->key : door_ != nullptr ? door_->key : "";
    return (!key.empty() && may_be_null(way_[depth_], key)) || (kept_ == nullptr ? scalar() : refuse_type());
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
        return note_key(static_cast<std::size_t>(value - kept_values), key);
    }
    const auto* const found = std::find_if(std::begin(doors), std::end(doors),
                                           [&](const door& row) { return row.from == here && row.key == key; });
    if (found == std::end(doors)) {
        return true;
    }
    door_ = found;
    return note_key(std::size(kept_values) + static_cast<std::size_t>(found - doors), key);
}

bool report_events::String(const char* text, rapidjson::SizeType size, bool) {
    if (!is_kept()) {
        return scalar();
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
        return scalar();
    }
    if (kept_->number == nullptr) {
        return refuse_type();
    }
    kept_->number(to_) = value;
    return true;
}

bool report_events::Bool(bool value) {
    if (!is_kept()) {
        return scalar();
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
        through = item_door(way_[depth_]);
    }
    if (through != nullptr && through->how != how) {
        return refuse("its " + std::string(through->key.empty() ? "content" : through->key) + " has another type");
    }
    kept_ = nullptr;
    door_ = nullptr;
    way_[++depth_] = through != nullptr ? through->to : place::ignored;
    seen_[depth_].reset();
    to_.values.has_evidence |= way_[depth_] == place::evidence;
    if (way_[depth_] == place::stage) {
        to_.stage = {};
        unsaid_ = to_.values.findings.size();
    } else if (way_[depth_] != place::fields && way_[depth_] != place::ignored) {
        to_.current = {};
    }
    return true;
}

// What a stage that passed has found speaks against nobody.
bool report_events::end_stage() {
    const std::string& state = to_.stage.state;
    if (std::find(std::begin(stage_states), std::end(stage_states), state) == std::end(stage_states)) {
        return refuse("a stage of it has no state that is known");
    }
    std::vector<std::string>& findings = to_.values.findings;
    to_.values.has_failed_stage |= state == "failed";
    if (state != "failed" && state != "warned") {
        findings.resize(unsaid_);
    } else if (findings.size() == unsaid_) {
        findings.push_back(to_.stage.id);
    }
    return findings.size() <= most_findings || refuse("it has too many findings");
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
        case place::stage: return end_stage();
        case place::finding: return end_finding();
        case place::signer:
            if (!read.value.empty()) {
                values.certificate_ends.push_back(read.value);
            }
            break;
        case place::input: values.inputs.emplace_back(read.id, read.value); break;
        case place::pcr:
            if (!read.value.empty()) {
                values.pcrs.emplace_back(read.number, read.value);
            }
            break;
        default: break;
    }
    const bool too_long = values.inputs.size() > most_inputs || values.pcrs.size() > pcr_count ||
                          values.certificate_ends.size() > most_signers;
    return !too_long || refuse("a list of it is too long");
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
