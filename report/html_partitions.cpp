// The partitions of the PMF beside those of this boot: two bars on one scale, and what pairs with what.
#include <algorithm>
#include <vector>

#include "base/text.h"
#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

// A partition table has room for 128; what goes beyond is not held against each other.
constexpr std::size_t most_partitions = 128;
constexpr axis_place widest_minimum = 300;      // the least width of a partition, when there are few
constexpr axis_place narrowest_labelled = 450;  // fits a number on a telephone

using partitions = std::vector<partition_record>;

enum class pairing { same, moved, changed, alone };

constexpr look same_look = {"good", "passed", "same"};
constexpr look moved_look = {"bad", "failed", "other place in the table"};
constexpr look changed_look = {"bad", "failed", "differs"};
constexpr look pmf_only_look = {"bad", "failed", "only in the PMF"};
constexpr look boot_only_look = {"bad", "failed", "only in this boot"};

// A row of the table: a partition of the PMF, one of this boot, or both.
struct pair_row {
    std::optional<std::size_t> listed;  // index
    std::optional<std::size_t> measured;
    pairing how = pairing::alone;
};

bool same_partition(const partition_record& a, const partition_record& b) {
    return a.type == b.type && a.name == b.name && a.first_lba == b.first_lba && a.last_lba == b.last_lba;
}

bool related(const partition_record& a, const partition_record& b) {
    return a.first_lba == b.first_lba || (a.type == b.type && a.name == b.name);
}

class pairing_work {
  public:
    pairing_work(const partitions& listed, const partitions& measured)
        : listed_(listed), measured_(measured), taken_(measured.size(), false), rows_(listed.size()) {}

    std::vector<pair_row> result() {
        for (std::size_t i = 0; i < listed_.size(); ++i) {
            rows_[i].listed = i;
            if (i < measured_.size() && same_partition(listed_[i], measured_[i])) {
                take(i, i, pairing::same);
            }
        }
        match(same_partition, pairing::moved);
        match(related, pairing::changed);
        for (std::size_t j = 0; j < measured_.size(); ++j) {
            if (!taken_[j]) {
                rows_.push_back({{}, j, pairing::alone});
            }
        }
        return rows_;
    }

  private:
    void take(std::size_t listed, std::size_t measured, pairing how) {
        rows_[listed].measured = measured;
        rows_[listed].how = how;
        taken_[measured] = true;
    }

    void match(bool (*fits)(const partition_record&, const partition_record&), pairing how) {
        for (std::size_t i = 0; i < listed_.size(); ++i) {
            for (std::size_t j = 0; j < measured_.size() && !rows_[i].measured; ++j) {
                if (!taken_[j] && fits(listed_[i], measured_[j])) {
                    take(i, j, how);
                }
            }
        }
    }

    const partitions& listed_;
    const partitions& measured_;
    std::vector<bool> taken_;
    std::vector<pair_row> rows_;
};

std::vector<pair_row> pairs_of(const partitions& listed, const partitions& measured) {
    std::vector<pair_row> rows = pairing_work(listed, measured).result();
    if (listed.empty() || measured.empty()) {
        // Held against nothing, none differs.
        for (pair_row& row : rows) {
            row.how = pairing::same;
        }
    }
    return rows;
}

std::uint64_t end_of(const partition_record& partition) {
    const std::uint64_t last = std::max(partition.first_lba, partition.last_lba);
    return last == UINT64_MAX ? last : last + 1;
}

// From blocks to places on the picture: to scale, but what a partition covers is never too narrow to be seen.
class disk_scale {
  public:
    disk_scale(const partitions& listed, const partitions& measured) {
        edges_.push_back(0);
        for (const partitions* list : {&listed, &measured}) {
            for (const partition_record& partition : *list) {
                edges_.push_back(partition.first_lba);
                edges_.push_back(end_of(partition));
            }
        }
        std::sort(edges_.begin(), edges_.end());
        edges_.erase(std::unique(edges_.begin(), edges_.end()), edges_.end());
        lay_out(listed, measured);
    }

    axis_place of(std::uint64_t block) const {
        const auto edge = std::lower_bound(edges_.begin(), edges_.end(), block) - edges_.begin();
        return static_cast<axis_place>(places_[static_cast<std::size_t>(edge)] / total_ * whole_axis);
    }

  private:
    static bool covers(const partitions& list, std::uint64_t block) {
        return std::any_of(list.begin(), list.end(), [block](const partition_record& partition) {
            return partition.first_lba <= block && block < end_of(partition);
        });
    }

    void lay_out(const partitions& listed, const partitions& measured) {
        const auto spans = static_cast<double>(edges_.size());
        const double least = std::min<double>(widest_minimum, whole_axis / (4 * spans));
        const auto blocks = static_cast<double>(std::max<std::uint64_t>(edges_.back(), 1));
        places_.push_back(0);
        for (std::size_t i = 0; i + 1 < edges_.size(); ++i) {
            const double true_width = static_cast<double>(edges_[i + 1] - edges_[i]) / blocks * whole_axis;
            const bool covered = covers(listed, edges_[i]) || covers(measured, edges_[i]);
            places_.push_back(places_.back() + (covered ? std::max(true_width, least) : true_width));
        }
        total_ = std::max(places_.back(), 1.0);
    }

    std::vector<std::uint64_t> edges_;
    std::vector<double> places_;  // of the edges
    double total_ = 1;
};

struct bar {
    markup id;
    markup name;
    const partitions& all;
    std::vector<bool> differs;
    markup css_of_like;  // of partitions that do not differ
};

std::vector<bool> differing(const std::vector<pair_row>& rows, std::optional<std::size_t> pair_row::*side,
                            std::size_t count) {
    std::vector<bool> out(count, false);
    for (const pair_row& row : rows) {
        if (row.*side) {
            out[*(row.*side)] = row.how != pairing::same;
        }
    }
    return out;
}

void write_partition_box(const bar& what, std::size_t index, const disk_scale& scale, html_writer& out) {
    const partition_record& partition = what.all[index];
    const bool differs = what.differs[index];
    const axis_place begin = scale.of(partition.first_lba);
    const axis_place end = scale.of(end_of(partition));
    const axis_place middle = (begin + end) / 2;
    out.raw("<rect class='")
        .raw(differs ? markup("bad") : what.css_of_like)
        .raw("' x='")
        .percent(begin)
        .raw("' y='12' width='");
    out.percent(end - begin).raw("' height='34'><title>").number(index + 1).raw(": ").text(partition.name);
    out.raw("</title></rect>");
    if (end - begin >= narrowest_labelled) {
        out.raw("<text x='").percent(middle).raw("' y='34'>").number(index + 1).raw("</text>");
    }
    if (differs) {
        out.raw("<use href='#diamond' class='mark suspect' x='").percent(middle).raw("' y='8'/>");
    }
}

void write_bar(const bar& what, const disk_scale& scale, html_writer& out) {
    if (what.all.empty()) {
        return;
    }
    out.raw("<li><div class='lane-name disk-name'><b>").raw(what.name).raw("</b> <span>");
    out.text(counted(what.all.size(), "partition"))
        .raw("</span></div>\n<svg class='disk' role='img' aria-labelledby='");
    out.raw(what.id)
        .raw("-t ")
        .raw(what.id)
        .raw("-d'><title id='")
        .raw(what.id)
        .raw("-t'>Partitions, ")
        .raw(what.name);
    out.raw("</title><desc id='").raw(what.id).raw("-d'>");
    out.text(
        counted(static_cast<std::size_t>(std::count(what.differs.begin(), what.differs.end(), true)), "partition"));
    out.raw(
        " without a like one on the other side</desc><rect class='ground' x='0' y='12' width='100%' height='34'/>");
    for (std::size_t i = 0; i < what.all.size(); ++i) {
        write_partition_box(what, i, scale, out);
    }
    out.raw("</svg></li>\n");
}

const look& look_of(const pair_row& row) {
    switch (row.how) {
        case pairing::same: return same_look;
        case pairing::moved: return moved_look;
        case pairing::changed: return changed_look;
        case pairing::alone: break;
    }
    return row.listed ? pmf_only_look : boot_only_look;
}

void write_range(const partition_record& partition, html_writer& out) {
    out.number(partition.first_lba).raw("&ndash;").number(partition.last_lba);
}

void write_kind(const partition_record& partition, html_writer& out) {
    out.text(partition.name.empty() ? "(no name)" : partition.name).raw("<span class='sub'>").text(partition.type);
    out.raw("</span>");
}

// Of two that differ, the other's cell says what is other.
void write_sides(const partition_record& one, const partition_record* other, html_writer& out) {
    write_kind(one, out);
    if (other != nullptr && (one.name != other->name || one.type != other->type)) {
        out.raw("<span class='was'>this boot: ");
        write_kind(*other, out);
        out.raw("</span>");
    }
    out.raw("</td><td class='range'>");
    write_range(one, out);
    if (other != nullptr && (one.first_lba != other->first_lba || one.last_lba != other->last_lba)) {
        out.raw("<span class='was'>this boot: ");
        write_range(*other, out);
        out.raw("</span>");
    }
}

void write_index(const std::optional<std::size_t>& index, html_writer& out) {
    if (index) {
        out.number(*index + 1);
    } else {
        out.raw("&ndash;");
    }
}

void write_pair(const pair_row& row, const partitions& listed, const partitions& measured, bool held_against,
                html_writer& out) {
    out.raw("<tr").raw(row.how == pairing::same ? markup("") : markup(" class='bad'")).raw("><td>");
    write_sides(row.listed ? listed[*row.listed] : measured[*row.measured],
                row.listed && row.measured ? &measured[*row.measured] : nullptr, out);
    out.raw("</td><td class='n'>");
    write_index(row.listed, out);
    out.raw(" / ");
    write_index(row.measured, out);
    if (held_against) {
        write_badge(look_of(row), out);
    }
    out.raw("</td></tr>\n");
}

partitions first_of(const partitions& all) {
    return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(std::min(all.size(), most_partitions))};
}

}  // namespace

bool has_partitions(const run_record& record) {
    return !record.pmf.partitions.empty() || !record.measured_partitions.empty();
}

void write_partitions(const run_record& record, html_writer& out) {
    const partitions listed = first_of(record.pmf.partitions);
    const partitions measured = first_of(record.measured_partitions);
    const bool held_against = !listed.empty() && !measured.empty();
    const std::vector<pair_row> rows = pairs_of(listed, measured);
    const disk_scale scale(listed, measured);
    out.raw(held_against     ? markup("")
            : listed.empty() ? markup("<p>There is no PMF to hold them against.</p>\n")
                             : markup("<p>This boot's event log tells of no partition.</p>\n"));
    out.raw("<ul class='lanes'>\n");
    const markup like = held_against ? markup("good") : markup("none");
    write_bar({"disk-pmf", "PMF", listed, differing(rows, &pair_row::listed, listed.size()), like}, scale, out);
    write_bar({"disk-boot", "this boot", measured, differing(rows, &pair_row::measured, measured.size()), like},
              scale, out);
    out.raw("</ul>\n");
    begin_table("partitions", held_against ? "Partition by partition" : "One by one",
                {"Partition and type", "Blocks", "PMF / boot"}, out);
    for (const pair_row& row : rows) {
        write_pair(row, listed, measured, held_against, out);
    }
    end_table(out);
    write_more(std::max(record.pmf.partitions.size(), record.measured_partitions.size()),
               std::max(listed.size(), measured.size()), "partition", out);
}

}  // namespace vellum::reporting
