// The configuration file, the command line and the files that they name.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy ini_line_remedy = {
    "Correct the line of `kxl.ini` that is named; the sample `kxl.ini` that comes with the program shows "
    "every section and key. Nothing is validated until the whole file is accepted.",
    person::configuration_keeper};

constexpr remedy levels_remedy = {
    "Give a level of 0, 1, 2 or 3: `-v` for the console, `-l` or FileLogLevel for the log file. 0 is "
    "nothing, 1 the verdict, 2 stages and findings, 3 everything.",
    person::configuration_keeper};

constexpr remedy pcr_list_remedy = {
    "Write each PCR once, from 0 to 23, with commas between: `--compared_pcrs=0,2,4,7`. Without the option "
    "all are compared.",
    person::administrator};

constexpr remedy hotkey_remedy = {
    "Write one to seven keystrokes with commas between, such as `OptOutHotKey=CTRL+ALT+F1,a`, the very keys "
    "that the device was sealed with.",
    person::configuration_keeper};

constexpr remedy interval_remedy = {
    "Write the seconds that the device was sealed with, 15 or more, as a bare number: "
    "`OptOutIntervalSeconds=30`. Leave the key out where the owner has no opt-out keys of his own.",
    person::configuration_keeper};

constexpr remedy short_path_remedy = {
    "Shorten the path to at most 255 characters, for instance by a path that begins where the program is "
    "started.",
    person::configuration_keeper};

constexpr words rows[] = {
    {"arguments-too-long",
     word_kind::finding,
     cause_class::configuration,
     "The command line is too long",
     "There are too many arguments, or one of them is longer than is accepted.",
     "A script put a list of files or a content into the command line.",
     {"Shorten the command line; what is meant is mostly one path too many from a script.",
      person::configuration_keeper}},
    {"compared-pcrs-invalid", word_kind::finding, cause_class::configuration, "The list of PCRs cannot be read",
     "The list behind `--compared_pcrs` is not made of numbers from 0 to 23 with commas between.",
     "A spelling mistake, a blank within a number, or a range such as 0-7.", pcr_list_remedy},
    {"compared-pcrs-repeated", word_kind::finding, cause_class::configuration, "A PCR is listed twice",
     "The list behind `--compared_pcrs` holds a number more than once.", "A spelling mistake.", pcr_list_remedy},
    {"config-file-missing",
     word_kind::finding,
     cause_class::configuration,
     "The configuration file is not there",
     "The file behind `-c`, or `kxl.ini` in the folder where the program was started, does not exist or "
     "cannot be opened.",
     "The program was started in another folder, or the path has a spelling mistake.",
     {"Name the file: `vellum --validate -c PATH/kxl.ini`, or start the program in its folder. A sample "
      "`kxl.ini` comes with the program.",
      person::configuration_keeper}},
    {"config-file-malformed", word_kind::finding, cause_class::configuration, "The configuration file has a bad line",
     "The line that is named could not be accepted. The finding beside it says why; without one the line is "
     "no key with a value, or has 200 bytes and more.",
     "A spelling mistake, or a file saved by a word processor.", ini_line_remedy},
    {"config-file-no-memory", word_kind::finding, cause_class::environment, "No memory for the configuration file",
     "The configuration file did not get the memory it needs.", "Other programs take all memory.", memory_remedy},
    {"config-algorithm-unsupported",
     word_kind::finding,
     cause_class::configuration,
     "An unknown method of signing in kxl.ini",
     "The value of `ExpectedSealSigningAlgorithm` is none of the two that are known.",
     "A spelling mistake.",
     {"Write one of these in `kxl.ini`: SHA256-RSA-2048-PKCS1 for seals of level TL1, SHA256-NULL-ENCRYPTION "
      "for TL3. Letters and dashes count.",
      person::configuration_keeper}},
    {"config-device-id-source-invalid",
     word_kind::finding,
     cause_class::configuration,
     "An unknown source of the Device ID in kxl.ini",
     "The value of `DeviceIdSource` is none that is known.",
     "A spelling mistake.",
     {"Write one of these in `kxl.ini`: UUID, SERIAL_NUMBER, OEM_DEFINED_LITERAL or OEM_DEFINED_BLOB. The "
      "last two also need `--external_device_id=ID`.",
      person::configuration_keeper}},
    {"config-flag-invalid", word_kind::finding, cause_class::configuration, "A flag in kxl.ini is neither 0 nor 1",
     "The key that is named takes 0 (off) or 1 (on) only.", "A word such as \"yes\", or a blank, stands there.",
     ini_line_remedy},
    {"config-hotkey-unparsable", word_kind::finding, cause_class::configuration,
     "The opt-out hotkey in kxl.ini cannot be read",
     "The value of `OptOutHotKey` is not a sequence of keys that is known.",
     "A key name is misspelt; names match exactly.", hotkey_remedy},
    {"config-hotkey-length", word_kind::finding, cause_class::configuration,
     "The opt-out hotkey has too many keystrokes", "The value of `OptOutHotKey` must have one to seven keystrokes.",
     "Too many keystrokes are listed.", hotkey_remedy},
    {"config-hotkey-too-long", word_kind::finding, cause_class::configuration,
     "The text of the opt-out hotkey is too long",
     "The value of `OptOutHotKey` has more characters than seven keystrokes can take.",
     "Too many keystrokes are listed, or something else stands there.", hotkey_remedy},
    {"config-interval-empty", word_kind::finding, cause_class::configuration,
     "The opt-out interval in kxl.ini is empty", "`OptOutIntervalSeconds` has no value.", "The value was forgotten.",
     interval_remedy},
    {"config-interval-not-numeric", word_kind::finding, cause_class::configuration,
     "The opt-out interval in kxl.ini is no number",
     "`OptOutIntervalSeconds` takes a number of seconds and nothing else.",
     "A unit or a comment stands behind the number.", interval_remedy},
    {"config-interval-out-of-range", word_kind::finding, cause_class::configuration,
     "The opt-out interval in kxl.ini is too short or too long", "`OptOutIntervalSeconds` must be at least 15.",
     "A number of minutes was written, or a zero.", interval_remedy},
    {"config-key-in-wrong-section", word_kind::finding, cause_class::configuration,
     "A key of kxl.ini stands in the wrong section", "The key belongs under another section, which is named.",
     "The line was moved, or the section's name is misspelt.", ini_line_remedy},
    {"config-key-repeated", word_kind::finding, cause_class::configuration, "A key of kxl.ini stands there twice",
     "The same key is given twice. Which value counts is not guessed.", "Two files were put together.",
     ini_line_remedy},
    {"config-key-unknown", word_kind::finding, cause_class::configuration, "A key of kxl.ini is not known",
     "The key that is named means nothing to this release.",
     "A spelling mistake, or a file for another release. Keys match to the letter.", ini_line_remedy},
    {"config-key-without-section", word_kind::finding, cause_class::configuration,
     "A key of kxl.ini stands before any section", "Each key must stand under its section, such as `[Logging]`.",
     "The line with the section was removed.", ini_line_remedy},
    {"config-log-level-invalid", word_kind::finding, cause_class::configuration,
     "The log level in kxl.ini is not 0 to 3", "The value of `FileLogLevel` is none that is known.",
     "A word stands there, or a higher number.", levels_remedy},
    {"config-path-length", word_kind::finding, cause_class::configuration, "A path in kxl.ini is too long",
     "The path behind the key that is named has more than 255 characters.", "A very deep folder.", short_path_remedy},
    {"console-level-refused", word_kind::finding, cause_class::configuration,
     "The level of the console is not allowed", "The level behind `-v` cannot be chosen.", "A number beyond 3.",
     levels_remedy},
    {"file-level-refused", word_kind::finding, cause_class::configuration, "The level of the log file is not allowed",
     "The level behind `-l`, or `FileLogLevel`, cannot be chosen.", "A number beyond 3.", levels_remedy},
    {"log-level-invalid", word_kind::finding, cause_class::configuration,
     "A log level on the command line is not 0 to 3", "The number behind `-v` or `-l` is none that is known.",
     "A number beyond 3, or a negative one.", levels_remedy},
    {"logging-settings-failed",
     word_kind::finding,
     cause_class::configuration,
     "The logging settings could not be made",
     "The run ended as `kxl.ini` or the options for the log could not be used. The finding below it says why.",
     "The configuration file is missing or has a bad line, or a level is wrong.",
     {"Read the finding below this one: it names the file, the line or the option to be corrected.",
      person::configuration_keeper}},
    {"file-not-opened", word_kind::finding, cause_class::configuration, "A file cannot be opened",
     "The system did not open the file that is named. Its reason stands behind it.",
     "The path is wrong, or relative to another folder; or the program may not read the file.", path_remedy},
    {"file-not-read",
     word_kind::finding,
     cause_class::environment,
     "A file cannot be read",
     "Reading the file that is named failed. The system's reason stands behind it.",
     "The medium is failing or was removed.",
     {"Copy the file anew from its source, and check the medium; then start the command again.",
      person::administrator}},
    {"file-not-regular", word_kind::finding, cause_class::configuration, "A path leads to no ordinary file",
     "At the path that is named there is a folder, a device or a pipe. Only ordinary files are read.",
     "The path is wrong.", path_remedy},
    {"file-linked-outside",
     word_kind::finding,
     cause_class::tampering,
     "A link leads out of the recording",
     "A file of a recording is reached through a link to somewhere else. It is not followed.",
     "The recording was put together by hand, or it wants another machine's files to be read.",
     {"Put the file itself into the recording in place of the link, and replay again. Ask where the "
      "recording comes from.",
      person::administrator}},
    {"file-too-large", word_kind::finding, cause_class::configuration, "A file is too large",
     "The file that is named is larger than such a file may be. The limit is shown.", "Another file was named.",
     path_remedy},
    {"file-no-memory", word_kind::finding, cause_class::environment, "No memory to read a file",
     "The file that is named did not get the memory it needs.", "Other programs take all memory.", memory_remedy},
    {"command-line-refused",
     word_kind::finding,
     cause_class::configuration,
     "The command line was not understood",
     "An option is not known, lacks its value or is given twice, or the options do not make up one mode. "
     "Nothing was judged.",
     "A spelling mistake, or a variable in a script that is empty.",
     {"Correct the option that the console names; where it names none, the mode is missing or misspelt. The list "
      "that is printed shows all of them. A validation begins with `vellum --validate`, unsealing with "
      "`vellum --unseal`, a comparison of logs with `vellum --compare_log`.",
      person::administrator}},
    {"log-file-not-opened",
     word_kind::finding,
     cause_class::configuration,
     "The log file cannot be opened",
     "The log file behind `-o` or `FileLogPath` could not be opened for writing, so the run ended.",
     "Its folder does not exist, or the program may not write there.",
     {"Name a log file in a folder that exists and that the program may write to: `-o FILE`, or `FileLogPath` "
      "in `kxl.ini`. The path begins in the folder where the program is started.",
      person::configuration_keeper}},
    {"log-file-path-length", word_kind::finding, cause_class::configuration, "The path of the log file is too long",
     "The path behind `-o` or `FileLogPath` has more than 255 characters.", "A very deep folder.", short_path_remedy},
};

}  // namespace

std::span<const words> config_words() {
    return rows;
}

}  // namespace vellum
