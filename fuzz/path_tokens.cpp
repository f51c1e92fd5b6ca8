// File paths with tokens in them.
#include "config/path_tokens.h"

#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {

void check(byte_view input) {
    byte_reader reader(input);
    const std::string path = take_text(reader);
    const std::string external = take_text(reader);
    platform_identity identity;
    identity.serial_number = take_text(reader);
    std::string translated = "untouched";
    const bool done = ok(translate_path_tokens(path, &identity, &external, translated));
    demand(done || translated.empty(), "a path that cannot be translated leaves nothing");
    demand(translated.size() < 260, "a translated path fits");
    demand(translated.find("::") == std::string::npos, "no token is left");
    demand(!done || path.find("::") != std::string::npos || translated == path, "a path without tokens stays");
    std::string without;
    if (!needs_platform_identity(path)) {
        demand(ok(translate_path_tokens(path, nullptr, &external, without)) == done && without == translated,
               "the platform's identity is read when a token asks for it, and then only");
    }
    device_id id;
    std::string printed;
    for (const DeviceIdSource source : {DeviceIdSource::OEM_DEFINED_LITERAL, DeviceIdSource::OEM_DEFINED_BLOB}) {
        if (ok(set_external_device_id(source, external, id))) {
            demand(ok(device_id_to_printable(source, id, printed)), "a Device ID prints");
            device_id again;
            demand(ok(set_external_device_id(source, printed, again)) && equal_bytes(again.bytes(), id.bytes()),
                   "a Device ID prints and is read as the same");
        }
    }
}

}  // namespace vellum::fuzz
