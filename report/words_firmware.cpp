// The driver, the link to the firmware, its commands and versions.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr const char* driver_fault_cause =
    "The driver or the system broke off the transfer, as when the device was put to sleep or the driver "
    "restarted meanwhile.";

constexpr remedy driver_remedy = {
    "Install the PELI driver of the device's manufacturer, and start the program as administrator. On "
    "Windows the driver shows in Device Manager without a warning sign. On Linux `ls -l /dev/peli0` must "
    "show the file, readable and writable for you. A machine without the feature has no such driver and "
    "cannot be validated.",
    person::administrator};

constexpr remedy driver_busy_remedy = {
    "Close other programs that use the PELI driver, restart the device and validate again. If it comes back, "
    "install the manufacturer's current driver. The log file shows the last call before the failure: start "
    "with `-l 3 -o kxl.log`.",
    person::administrator};

constexpr remedy driver_update_remedy = {
    "Install the PELI driver that belongs to the firmware of this device, and restart. Both come from the "
    "manufacturer and are updated together. The log file (`-l 3 -o kxl.log`) shows what the driver answered.",
    person::administrator};

constexpr words rows[] = {
    {"firmware-answer-of-other-command", word_kind::finding, cause_class::firmware,
     "The firmware answered another command",
     "The answer carries the number of another command than was sent. It is not used.",
     "Another program talks to the firmware at the same time, or the answer to an earlier command came late.",
     driver_busy_remedy},
    {"firmware-client-absent",
     word_kind::finding,
     cause_class::configuration,
     "The feature is not there or is switched off",
     "The driver answered that it does not know the client through which the feature is asked.",
     "The feature is off in the firmware setup, or this model does not have it.",
     {"Switch the KVR feature on in the firmware setup, and restart. If the setup has no such entry, the "
      "model or its firmware lacks the feature: ask the manufacturer for a firmware that has it. A device "
      "that was sealed cannot lose the feature by itself, so find out who changed the setting.",
      person::administrator}},
    {"firmware-client-properties-incomplete", word_kind::finding, cause_class::environment,
     "The driver's description of the client is cut",
     "The driver connected the client, and told less about it than its interface demands.",
     "Driver and firmware do not belong together.", driver_update_remedy},
    {"firmware-control-event",
     word_kind::finding,
     cause_class::environment,
     "The system gave no event for the driver call",
     "The system refused the object with which the program waits for the driver.",
     "The system has run out of handles or memory.",
     {"Close other programs, or restart the device, and validate again.", person::administrator}},
    {"firmware-control-not-taken", word_kind::finding, cause_class::environment, "The driver could not be taken over",
     "The driver did not answer the first request, which asks for its version.",
     "Another program uses the driver, or it is not the PELI driver that stands behind this name.",
     driver_busy_remedy},
    {"firmware-control-refused", word_kind::finding, cause_class::environment, "The driver refused a request",
     "A request to the driver failed at once. The system's reason stands behind it.",
     "The driver does not know the request, or another program holds it.", driver_update_remedy},
    {"firmware-control-unfinished", word_kind::finding, cause_class::environment,
     "A request to the driver did not end well",
     "A request to the driver began and failed before it was done. The system's reason stands behind it.",
     driver_fault_cause, driver_busy_remedy},
    {"firmware-driver-version-incomplete", word_kind::finding, cause_class::environment,
     "The driver tells its version in too few bytes",
     "The driver's answer to the request for its version is shorter than the interface demands.",
     "It is a very old driver, or not the PELI driver.", driver_update_remedy},
    {"firmware-interface-absent", word_kind::finding, cause_class::environment, "There is no driver interface",
     "The system knows no active interface of the PELI driver, so the firmware cannot be asked.",
     "The driver is not installed or is disabled, this system image lacks it, or the device does not have "
     "the feature.",
     driver_remedy},
    {"firmware-interface-list",
     word_kind::finding,
     cause_class::environment,
     "The list of driver interfaces was refused",
     "The system did not hand out the list of device interfaces. Its code stands in the finding.",
     "The configuration service of the system does not run, or the program lacks rights.",
     {"Start the program as administrator; if it fails again, restart the system. In a pre-installation "
      "environment wait until its start is complete (`wpeinit`).",
      person::administrator}},
    {"firmware-interface-list-grows",
     word_kind::finding,
     cause_class::environment,
     "The list of driver interfaces kept growing",
     "Each time the list of interfaces was fetched, it had become longer.",
     "Devices are being attached or drivers installed at this moment.",
     {"Wait until no device is being attached or installed, then validate again.", person::administrator}},
    {"firmware-interface-list-memory", word_kind::finding, cause_class::environment,
     "No memory for the list of driver interfaces", "The list of device interfaces did not get the memory it needs.",
     "Other programs take all memory.", memory_remedy},
    {"firmware-interface-list-size",
     word_kind::finding,
     cause_class::environment,
     "The size of the interface list is not known",
     "The system did not tell how long the list of device interfaces is. Its code stands in the finding.",
     "The configuration service of the system does not run, or the program lacks rights.",
     {"Start the program as administrator; if it fails again, restart the system. In a pre-installation "
      "environment wait until its start is complete (`wpeinit`).",
      person::administrator}},
    {"firmware-interface-not-opened",
     word_kind::finding,
     cause_class::environment,
     "The driver interface could not be opened",
     "The interface is there, but the system refused to open it. Its reason stands behind the finding.",
     "The program was not started as administrator, or another program holds the interface.",
     {"Start the program as administrator, and close other programs that use the PELI driver. On Linux, `ls "
      "-l /dev/peli0` shows who may open it.",
      person::administrator}},
    {"firmware-internal-error", word_kind::finding, cause_class::firmware, "The firmware reports an error of its own",
     "The firmware answered the command with its status for an internal error.",
     "Its storage is damaged, or it has not finished starting.", firmware_retry_remedy},
    {"firmware-link-closed", word_kind::finding, cause_class::environment, "No connection to the PELI driver",
     "The connection to the driver could not be opened. The finding below it says why.",
     "The driver is missing, or the program was not started as administrator.", driver_remedy},
    {"firmware-message-length-invalid", word_kind::finding, cause_class::environment,
     "The driver names an impossible message length",
     "The longest message that the driver offers is zero or beyond what the interface allows.",
     "Driver and firmware do not belong together.", driver_update_remedy},
    {"firmware-message-size", word_kind::finding, cause_class::firmware, "The answer has an impossible size",
     "The firmware's answer is shorter than its fixed fields, or claims more bytes than came. It is not used.",
     "Another version of the firmware, a damaged answer, or something between firmware and program that "
     "changes answers.",
     firmware_retry_remedy},
    {"firmware-no-memory", word_kind::finding, cause_class::environment, "No memory for a firmware message",
     "The message to or from the firmware did not get the memory it needs.", "Other programs take all memory.",
     memory_remedy},
    {"firmware-operation-failed", word_kind::finding, cause_class::firmware, "A command to the firmware failed",
     "The operation that is named did not succeed. The finding below it says at which step.",
     "The firmware could not be reached, or answered in a form that cannot be used.", firmware_retry_remedy},
    {"firmware-read-event", word_kind::finding, cause_class::environment, "The system gave no event for reading",
     "The system refused the object with which the program waits for the firmware's answer.",
     "The system has run out of handles or memory, or another program uses the driver.", driver_busy_remedy},
    {"firmware-read-failed", word_kind::finding, cause_class::environment, "The answer could not be read",
     "Reading the firmware's answer failed at once. The system's reason stands behind it.", driver_fault_cause,
     driver_busy_remedy},
    {"firmware-read-timeout", word_kind::finding, cause_class::firmware, "The firmware did not answer in time",
     "No answer came within ten seconds.", "The firmware is busy, as while it is updated, or it has stopped working.",
     firmware_retry_remedy},
    {"firmware-read-unfinished", word_kind::finding, cause_class::environment, "Reading the answer did not end well",
     "Reading the firmware's answer began and failed before it was done.", driver_fault_cause, driver_busy_remedy},
    {"firmware-receive-unconnected", word_kind::finding, cause_class::environment,
     "There is no connection to read from", "An answer was to be read though no connection to the driver is open.",
     "The connection failed before, or was closed by an earlier failure.", driver_remedy},
    {"firmware-refused",
     word_kind::finding,
     cause_class::firmware,
     "The firmware refused the command",
     "The firmware answered with a status that says why, and with the state that feature and seal are in.",
     "The command does not fit the state: a PMF was asked of a device that has none, or a seal was to be "
     "ended that is not active.",
     {"Read the status in the finding and bring the feature into the state that it asks for. WRONG_STATE "
      "means that the device is not sealed, or already unsealed. A status that says NOT_SUPPORTED names an "
      "option that this model does not have. If the state is the right one, restart the device and try again.",
      person::administrator}},
    {"firmware-send-incomplete", word_kind::finding, cause_class::environment, "Only a part of the command was sent",
     "The driver took fewer bytes of the command than were given.", driver_fault_cause, driver_busy_remedy},
    {"firmware-send-unconnected", word_kind::finding, cause_class::environment, "There is no connection to send on",
     "A command was to be sent though no connection to the driver is open.",
     "The connection failed before, or was closed by an earlier failure.", driver_remedy},
    {"firmware-state-incomplete", word_kind::finding, cause_class::firmware, "The firmware's state is cut",
     "The answer that holds feature state, seal signature and seal log ends before they do.",
     "Another version of the firmware, or a damaged answer.", firmware_retry_remedy},
    {"firmware-wait-abandoned", word_kind::finding, cause_class::environment, "The wait for the driver was abandoned",
     "The object that the program waited for was given up by the system.", driver_fault_cause, driver_busy_remedy},
    {"firmware-wait-failed", word_kind::finding, cause_class::environment, "Waiting for the driver failed",
     "The system did not let the program wait for the driver. Its reason stands behind it.",
     "The driver was removed or restarted meanwhile.", driver_busy_remedy},
    {"firmware-write-event", word_kind::finding, cause_class::environment, "The system gave no event for writing",
     "The system refused the object with which the program waits for the command to be taken.",
     "The system has run out of handles or memory.", driver_busy_remedy},
    {"firmware-write-failed", word_kind::finding, cause_class::environment, "The command could not be written",
     "Writing the command to the driver failed at once. The system's reason stands behind it.", driver_fault_cause,
     driver_busy_remedy},
    {"firmware-write-timeout", word_kind::finding, cause_class::firmware,
     "The driver did not take the command in time", "The driver did not take a request within ten seconds.",
     "The firmware is busy, as while it is updated, or the driver is stuck.", firmware_retry_remedy},
    {"firmware-write-unfinished", word_kind::finding, cause_class::environment,
     "Writing the command did not end well", "Writing the command began and failed before it was done.",
     driver_fault_cause, driver_busy_remedy},
    {"kvr-version-unchecked",
     word_kind::finding,
     cause_class::configuration,
     "The version of the feature was not checked",
     "`--bypass_version_check` lets the program go on with any version of the feature. An unknown version "
     "may mean its answers in another way.",
     "The option was given.",
     {"Leave out `--bypass_version_check` once the program and the feature are of versions that know each "
      "other. The supported versions stand in the finding. A verdict reached with the option is worth a look "
      "only.",
      person::configuration_keeper}},
    {"kvr-version-unreadable", word_kind::finding, cause_class::firmware, "The version of the feature cannot be read",
     "The firmware did not answer the question for the version of the feature. The finding below it says why.",
     "The firmware is busy, or refused the command.", firmware_retry_remedy},
    {"kvr-version-unsupported",
     word_kind::finding,
     cause_class::firmware,
     "The version of the feature is not known",
     "The feature has a version that this release of the program was not made for, so its answers are not "
     "judged.",
     "The firmware was updated to a newer version, or is older than the program supports.",
     {"Update what the finding says, the program or the platform, so that the version is one of those "
      "listed. To see the report all the same: `vellum --validate --bypass_version_check`; its verdict is no "
      "proof.",
      person::administrator}},
};

}  // namespace

std::span<const words> firmware_words() {
    return rows;
}

}  // namespace vellum
