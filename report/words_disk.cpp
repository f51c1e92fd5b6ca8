// The boot disk, its partition table, and the files that list the system's parts.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy disk_access_remedy = {
    "Start the program as administrator; if the disk still cannot be read, check its cable and health. On "
    "Linux `smartctl -a DISK` and `dmesg` tell of a failing disk, on Windows `chkdsk` and the event viewer.",
    person::administrator};

constexpr remedy restore_gpt_remedy = {
    "Restore the partition table that the device was sealed with, then restart and validate. `sgdisk -v "
    "DISK` judges the table and `sgdisk -p DISK` prints it; `diskpart` does on Windows. Which partitions are "
    "expected is shown by `vellum-lab inspect pmf FILE`. If the layout shall stay, have the device sealed "
    "with a new PMF.",
    person::administrator};

constexpr remedy repair_gpt_remedy = {
    "Check the table with `sgdisk -v DISK` and repair it from its backup copy with `gdisk` (recovery menu); "
    "then restart and validate. Ask what damaged it: a disk tool, an interrupted write, or somebody who "
    "changed it by hand. On Windows look at the disk with `diskpart` first.",
    person::administrator};

constexpr remedy bom_restore_remedy = {
    "Restore the file from the manufacturer's image, then validate again. If an update changed it on "
    "purpose, have the manufacturer make a PMF for the new file and the device sealed with it. `sha256sum "
    "FILE` (Linux) or `certutil -hashfile FILE SHA256` (Windows) shows its hash. If nobody changed it, take "
    "the device out of use.",
    person::administrator};

constexpr remedy bom_in_pmf_remedy = {
    "Have the PMF made with a location that this release can use, such as `C:\\bom\\system.bom`, and the "
    "device sealed with it. It names a drive letter and a path on that very volume, in printable ASCII, "
    "without \"..\". `vellum-lab inspect pmf FILE` shows it.",
    person::pmf_maker};

constexpr words rows[] = {
    {"disk-sector-size-unreadable", word_kind::finding, cause_class::environment,
     "The sector size of the boot disk cannot be read",
     "The system did not tell how large the sectors of the boot disk are. Its reason stands behind it.",
     "The program is not run as administrator, or the boot disk could not be found.", disk_access_remedy},
    {"disk-sector-size-unsupported",
     word_kind::finding,
     cause_class::environment,
     "The sector size of the boot disk is not supported",
     "The boot disk has sectors of another size than is supported.",
     "An unusual disk, or a driver that reports a wrong size.",
     {"Use a disk with sectors of 512 or 4096 bytes, as the sealed device had. `lsblk -o NAME,LOG-SEC` shows "
      "the size on Linux, `fsutil fsinfo sectorinfo C:` on Windows.",
      person::administrator}},
    {"disk-sectors-unreadable", word_kind::finding, cause_class::environment,
     "Sectors of the boot disk cannot be read",
     "The partition table could not be read from the disk. The system's reason stands behind it.",
     "The program is not run as administrator, or the disk is failing.", disk_access_remedy},
    {"disk-volumes-unreadable",
     word_kind::finding,
     cause_class::environment,
     "The volumes of the boot disk cannot be read",
     "The system did not tell which volumes lie on the boot disk. Its reason stands behind it.",
     "The program is not run as administrator, or the volumes are not mounted.",
     {"Start the program as administrator, with the volumes of the boot disk mounted: `lsblk` shows them on "
      "Linux, `mountvol` on Windows. A volume that is encrypted has to be unlocked.",
      person::administrator}},
    {"disk-partitions-unreadable", word_kind::finding, cause_class::change,
     "The partitions of the boot disk cannot be read",
     "The partition table of the boot disk could not be taken. The finding below it says why.",
     "The table is damaged or missing, or the disk cannot be read.", repair_gpt_remedy},
    {"disk-partition-repeated", word_kind::finding, cause_class::tampering, "Two partitions have the same sectors",
     "The partition table on the disk has two entries for one range of sectors. One of them may deceive.",
     "Somebody changed the table by hand.", restore_gpt_remedy},
    {"disk-partitions-overlap", word_kind::finding, cause_class::tampering, "Two partitions overlap",
     "Two partitions on the disk share sectors, so that one can change the content of the other.",
     "Somebody changed the table by hand, or a faulty disk tool did.", restore_gpt_remedy},
    {"disk-partitions-share-sectors", word_kind::finding, cause_class::tampering,
     "Partitions on the disk share sectors",
     "The partition table on the disk gives sectors to more than one partition. The findings below it say "
     "which.",
     "Somebody changed the table by hand, or a faulty disk tool did.", restore_gpt_remedy},
    {"disk-measurements-differ",
     word_kind::finding,
     cause_class::change,
     "A measured file is not the one of the PMF",
     "At least one partition failed the measurement that the PMF asks for. The findings below it say which "
     "and why.",
     "The system was updated, a file was changed or is missing, or a drive letter differs.",
     {"Read the findings below this one; each names the partition and what to restore.", person::administrator}},
    {"gpt-signature-invalid", word_kind::finding, cause_class::change, "The disk has no GPT",
     "Where the header of the partition table has to be, its signature is missing.",
     "The disk is empty, was exchanged, or has the old kind of table; or another disk was taken for the boot "
     "disk.",
     repair_gpt_remedy},
    {"gpt-header-size", word_kind::finding, cause_class::change, "The GPT header has an impossible size",
     "The header of the partition table names a size that it cannot have.",
     "The table is damaged or was written by a faulty tool.", repair_gpt_remedy},
    {"gpt-header-checksum", word_kind::finding, cause_class::change, "The checksum of the GPT header is wrong",
     "The header of the partition table does not have the checksum that it names.",
     "The table is damaged, or was changed by hand without its checksum.", repair_gpt_remedy},
    {"gpt-header-lba", word_kind::finding, cause_class::change, "The GPT header names another place",
     "The header of the partition table says that it stands at another sector than it does.",
     "The backup copy stands in the place of the header, or the disk was cloned to one with other sectors.",
     repair_gpt_remedy},
    {"gpt-entry-size", word_kind::finding, cause_class::change, "The GPT entries have an unsupported size",
     "The entries of the partition table have a size that is not supported.",
     "The table is damaged or was written by an unusual tool.", repair_gpt_remedy},
    {"gpt-entries-too-large", word_kind::finding, cause_class::change, "The GPT has too many entries",
     "The entries of the partition table take more room than is accepted.",
     "The table is damaged or was written by an unusual tool.", repair_gpt_remedy},
    {"gpt-entries-lba", word_kind::finding, cause_class::change, "The GPT entries stand at an impossible place",
     "The header of the partition table names an impossible sector for its entries.", "The table is damaged.",
     repair_gpt_remedy},
    {"gpt-entries-checksum", word_kind::finding, cause_class::change, "The checksum of the GPT entries is wrong",
     "The entries of the partition table do not have the checksum that the header names.",
     "The table is damaged, or was changed by hand without its checksum.", repair_gpt_remedy},
    {"partition-sets-differ", word_kind::finding, cause_class::change, "Disk and PMF do not have the same partitions",
     "A partition is on one side only. The findings below it name each by its sectors.",
     "A partition was added, removed, moved or resized; or the PMF of another layout was used.", restore_gpt_remedy},
    {"partition-missing", word_kind::finding, cause_class::change, "A partition is on one side only",
     "The partition with these sectors is in the PMF or in the table, and not in the other.",
     "A partition was added, removed, moved or resized; or the PMF of another layout was used.", restore_gpt_remedy},
    {"partition-absent", word_kind::finding, cause_class::change, "The partitions stand in another order",
     "The partition that is named is not found where the order of the PMF wants it.",
     "The entries of the table were reordered, as by a disk tool that sorts them.", restore_gpt_remedy},
    {"partition-guid-differs", word_kind::finding, cause_class::change, "A partition has another type",
     "The type GUID of a partition is not the one in the PMF. Both are shown.",
     "A tool changed the type, as when a partition is made for another system.", restore_gpt_remedy},
    {"partition-name-differs", word_kind::finding, cause_class::change, "A partition has another name",
     "The name of a partition is not the one in the PMF. Both are shown.", "The partition was renamed or made anew.",
     restore_gpt_remedy},
    {"partition-measurement-unsupported", word_kind::finding, cause_class::configuration,
     "A partition is to be measured in an unsupported way",
     "The PMF asks for a measurement of this partition that this release cannot make.",
     "The PMF was made for a newer release of the program.", bom_in_pmf_remedy},
    {"bom-location-invalid", word_kind::finding, cause_class::configuration,
     "The location of a BOM file cannot be used",
     "The place of the BOM file in the PMF is not a drive letter and a path on that volume. The finding says "
     "what is wrong.",
     "A fault of the program that made the PMF; a location that leaves its volume is an attempt to measure "
     "another file.",
     bom_in_pmf_remedy},
    {"bom-volume-missing",
     word_kind::finding,
     cause_class::change,
     "No volume lies on the measured partition",
     "The PMF asks for a BOM file on this partition, and no volume of the boot disk has exactly its sectors.",
     "The volume is not mounted or not unlocked, or the partition was moved or formatted.",
     {"Mount and unlock the volume of this partition, and validate again: `lsblk` shows it on Linux, "
      "`mountvol` on Windows. If the partition was moved or resized, restore the table that the device was "
      "sealed with.",
      person::administrator}},
    {"bom-volume-letter-differs",
     word_kind::finding,
     cause_class::configuration,
     "The volume has another drive letter",
     "The BOM location names another drive letter than the volume on this partition has.",
     "Windows gave other letters, as in a pre-installation environment; or the file of another volume should "
     "be measured.",
     {"Set `BOMLocationVolumeLetterMismatchAllowed=1` in section `[Disk Measurements]` of `kxl.ini` where "
      "letters differ, or give the volume its letter. The mapped volume is then used, with a warning. "
      "`mountvol` and `diskpart` (assign letter=C) change letters on Windows.",
      person::configuration_keeper}},
    {"bom-volume-letter-allowed",
     word_kind::finding,
     cause_class::configuration,
     "The volume has another drive letter, which is allowed",
     "The BOM location names another drive letter than the volume has. "
     "`BOMLocationVolumeLetterMismatchAllowed` lets the stage go on with a warning.",
     "Windows gave other letters, as in a pre-installation environment.",
     {"Nothing is to be done where the letters are known to differ; else set "
      "`BOMLocationVolumeLetterMismatchAllowed=0` in `kxl.ini`.",
      person::configuration_keeper}},
    {"bom-volume-not-opened",
     word_kind::finding,
     cause_class::environment,
     "The volume of the BOM file cannot be opened",
     "The folder at which the volume is mounted could not be opened. The system's reason stands behind it.",
     "The volume was unmounted meanwhile, or is not unlocked.",
     {"Mount and unlock the volume that is named, and validate again as administrator.", person::administrator}},
    {"bom-volume-linked-outside",
     word_kind::finding,
     cause_class::tampering,
     "The recorded volume leads out of the recording",
     "The folder of a volume in a recording is reached through a link to somewhere else. It is not followed.",
     "The recording was put together by hand, or it wants another machine's files to be read.",
     {"Put the volume's files into the recording itself, as a folder under `disk`, and replay again. Ask "
      "where the recording comes from.",
      person::administrator}},
    {"bom-file-not-hashed",
     word_kind::finding,
     cause_class::change,
     "The BOM file could not be measured",
     "The hash of the BOM file could not be computed. The finding below it says why.",
     "The file is missing, cannot be read, or is not an ordinary file on its volume.",
     {"Restore the file that is named on its volume, and start the program as administrator. The finding "
      "below it names the obstacle.",
      person::administrator}},
    {"bom-file-not-opened", word_kind::finding, cause_class::change, "The BOM file cannot be opened",
     "The system did not open the file that lists the system's parts. Its reason stands behind it.",
     "The file was removed, or the program is not run as administrator.", bom_restore_remedy},
    {"bom-file-not-read", word_kind::finding, cause_class::environment, "The BOM file cannot be read to its end",
     "Reading the file failed in the middle. The system's reason stands behind it.",
     "The disk is failing, or the file was changed at this moment.", disk_access_remedy},
    {"bom-file-not-regular", word_kind::finding, cause_class::tampering, "The BOM file is no ordinary file",
     "At the place of the BOM file there is a folder, a device or a pipe.",
     "Somebody put something else in its place.", bom_restore_remedy},
    {"bom-file-linked-outside", word_kind::finding, cause_class::tampering, "The BOM file is a link to another place",
     "A link leads from the place of the BOM file out of its volume. It is not followed.",
     "Somebody put a link in its place, so that another file should be measured.", bom_restore_remedy},
    {"bom-file-on-other-volume",
     word_kind::finding,
     cause_class::tampering,
     "The BOM file lies on another volume",
     "Another volume is mounted over the folder of the BOM file, so that the file is not the partition's.",
     "Somebody mounted a volume there, so that another file should be measured.",
     {"Unmount what is mounted over the folder, and validate again: `findmnt -T FILE` shows it on Linux, "
      "`mountvol` on Windows. If nobody of you mounted it, take the device out of use.",
      person::administrator}},
    {"bom-file-too-large", word_kind::finding, cause_class::change, "The BOM file is too large",
     "The file is larger than the limit that is named, and was not read to its end.",
     "Another file stands in its place.", bom_restore_remedy},
    {"bom-hash-differs", word_kind::finding, cause_class::change, "The BOM file is not the one of the PMF",
     "The file that lists the system's parts has another hash than the PMF holds. Both are shown.",
     "The system was updated, or somebody changed the file.", bom_restore_remedy},
    {"partition-lists-empty",
     word_kind::finding,
     cause_class::configuration,
     "Neither the PMF nor the disk has a partition",
     "The PMF lists no partition, and the partition table has none either, so that there is nothing to "
     "compare.",
     "The PMF was made without the partitions of the disk, or for a disk that was not set up yet.",
     {"Have the PMF made with the partitions of the disk that the system is on, and the device sealed with it. "
      "`vellum-lab inspect pmf FILE` shows those of a PMF, `sgdisk -p DISK` those of a disk.",
      person::pmf_maker}},
    {"partition-source-unknown", word_kind::finding, cause_class::environment,
     "The partitions come from an unknown source",
     "The partitions to be compared are neither those of the disk nor those that this boot measured.",
     program_fault_cause, program_fault_remedy},
};

}  // namespace

std::span<const words> disk_words() {
    return rows;
}

}  // namespace vellum
