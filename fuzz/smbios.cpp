// The SMBIOS data of the platform, and what is made of them.
#include <tuple>

#include "config/device_id.h"
#include "fuzz/fuzz_session.h"
#include "pmf/smbios.h"

namespace vellum::fuzz {
namespace {

class given_tables final : public firmware_tables {
  public:
    explicit given_tables(byte_view data) : data_(data) {}

    os_status read(std::vector<std::uint8_t>& out) override {
        out.assign(data_.begin(), data_.end());
        return os_status::success;
    }

  private:
    byte_view data_;
};

auto fields(const platform_smbios_info& info) {
    return std::tie(info.bios_version, info.product_name, info.sku_number, info.uuid, info.serial_number,
                    info.orbis_version, info.orbis_flag);
}

}  // namespace

void check(byte_view input) {
    given_tables tables(input);
    platform_smbios_info fetched;
    platform_smbios_info filled;
    const bool found = ok(read_smbios_info(tables, fetched));
    demand(found == ok(fill_smbios_info(input, filled)), "fetched data are the data");
    if (!found) {
        return;
    }
    demand(fields(fetched) == fields(filled), "reading twice gives the same");
    for (const std::string& text :
         {filled.bios_version, filled.product_name, filled.sku_number, filled.serial_number}) {
        demand(!text.empty() && text.size() <= max_product_name_length, "every text is there and bounded");
        demand(text.find('\0') == std::string::npos, "no text holds its terminator");
    }
    for (const DeviceIdSource source : {DeviceIdSource::UUID, DeviceIdSource::SERIAL_NUMBER}) {
        device_id id;
        std::string printed;
        const bool formed = ok(current_device_id(source, {filled.uuid, filled.serial_number}, std::nullopt, id));
        demand(!formed || ok(device_id_to_printable(source, id, printed)), "a Device ID prints");
    }
}

}  // namespace vellum::fuzz
