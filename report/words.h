// What every stage, every finding and every caution means, why it comes about, and what a person does about it.
//
// The tables own their texts: plain ASCII, sentences that end in a full stop, with `commands` and `names` in
// backticks. An identifier stands once, whatever its kind. The first sentence of a remedy stands alone and has at
// most 160 characters, so that one line can show it; a title has at most 60 and no full stop. Nothing here fails:
// what is not known has no words.
#pragma once

#include <span>
#include <string_view>

namespace vellum {

enum class word_kind { stage, finding, caution };

// What kind of cause is the likelier one.
enum class cause_class {
    environment,    // this system or machine cannot do it
    configuration,  // a file or an option does not say what it should
    expiry,         // a date has passed
    change,         // the device is another than was sealed, as after an update
    tampering,      // somebody deceives
    firmware,       // the firmware answers or measures wrongly, or cannot
};

// Who can do what a remedy says.
enum class person {
    administrator,
    configuration_keeper,
    manufacturer,
    pmf_maker,
    security_officer,
    program_maintainer,
};

struct remedy {
    const char* text;
    person who;
};

struct words {
    const char* id;  // of core/findings.h, of the table of stages, or of a caution
    word_kind kind;
    cause_class cause;
    const char* title;
    const char* meaning;
    const char* likely_cause;
    remedy what_to_do;
};

// Null for an identifier that has no words.
const words* words_of(std::string_view id);

// The stages in the order in which they run, then the findings and then the cautions, both by identifier.
std::span<const words> all_words();

// Of the findings those that the validation does not raise, but only a report of it.
std::span<const words> report_words();

// "environment" and so on, as a program reads it.
const char* cause_class_name(cause_class cause);
const char* word_kind_name(word_kind kind);

// "administrator of the device" and so on, as it stands in a sentence.
const char* person_name(person who);

// Up to the first full stop that ends a sentence, and with it.
std::string_view first_sentence(std::string_view text);

}  // namespace vellum
