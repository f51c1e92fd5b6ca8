// The database of a fleet: its schema, and the taking in of reports. docs/fleet.md describes the tables.
//
// Reports are taken in by transactions; what was committed stays, whatever happens next. A report that is there
// already changes nothing, so that an interrupted feed is begun again as a whole.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "report/fleet/database.h"
#include "report/fleet/report_reading.h"

namespace vellum::fleet {

inline constexpr int schema_version = 1;

// Makes the tables in an empty database when it is to be filled. Refuses one that is another program's or of a later
// version: `fleet` fails then, and the file is what it was.
enum class purpose { to_fill, to_read };
void prepare_schema(database& fleet, purpose what_for);

// Removes a device, by its row, and its runs. Returns how many runs that were.
std::int64_t forget_device(database& fleet, std::int64_t device);

class store {
  public:
    explicit store(database& fleet);

    void begin();
    void commit();

    // Whether it is new. `taken`: seconds since 1970-01-01 UTC.
    [[nodiscard]] bool add(const fleet_report& report, std::int64_t taken);

  private:
    // Row numbers by what the row holds. They stay right once they are committed, as no such row is ever removed; one
    // of a device may be.
    struct known_rows {
        std::map<std::string, std::int64_t, std::less<>> numbers;
        std::size_t bytes = 0;  // of the keys
    };

    std::int64_t number_of(statement& find, statement& insert);
    std::int64_t remember(known_rows& known, const std::string& key, std::int64_t number);
    std::int64_t device_of(const fleet_report& report);
    std::int64_t outcome_of(const run_outcome& outcome, std::int64_t taken);
    std::int64_t facts_of(const platform_facts& facts);
    std::int64_t digest_of(const sha256_value& digest);
    std::string pcrs_of(const fleet_report& report);
    std::string inputs_of(const fleet_report& report);

    database& fleet_;
    statement begin_;
    statement commit_;
    statement find_device_;
    statement insert_device_;
    statement find_outcome_;
    statement insert_outcome_;
    statement find_facts_;
    statement insert_facts_;
    statement find_digest_;
    statement insert_digest_;
    statement insert_run_;
    known_rows outcomes_;
    known_rows facts_;
    known_rows digests_;
};

}  // namespace vellum::fleet
