// The boot disk of a Linux machine, in a tree of files that stands for the kernel's.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "lab/byte_builder.h"
#include "platform/linux/disk.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

// A machine with the disk sda of three partitions (the last one encrypted) and the disk sdb.
struct disk_tree {
    disk_tree() {
        disk("sda", "8:0", 1000000);
        partition("sda", "sda1", "8:1", 2048, 1024);
        partition("sda", "sda2", "8:2", 4096, 8192);
        partition("sda", "sda3", "8:3", 16384, 81920);
        disk("sdb", "8:16", 5000);
        disk("dm-0", "253:0", 81000);
        dir.write("sys/devices/dm-0/slaves/none", "");
        std::filesystem::remove(dir.path() / "sys/devices/dm-0/slaves/none");
        std::filesystem::create_symlink("../../sda/sda3", dir.path() / "sys/devices/dm-0/slaves/sda3");
        dir.write("dev/sda", std::string(512, '0') + std::string(512, '1') + std::string(100, '2'));
    }

    void disk(const std::string& name, const std::string& number, int size) {
        dir.write("sys/devices/" + name + "/size", std::to_string(size) + "\n");
        dir.write("sys/devices/" + name + "/queue/logical_block_size", "512\n");
        link(name, name, number);
    }
    // Makes it a disk of hardware, with an attribute that is set.
    void fix(const std::string& name, const std::string& attribute = "fixed") {
        dir.write("sys/devices/" + name + "/device/model", "");
        dir.write("sys/devices/" + name + "/" + attribute, "1\n");
    }
    void partition(const std::string& on, const std::string& name, const std::string& number, int start, int size) {
        const std::string path = on + "/" + name;
        dir.write("sys/devices/" + path + "/partition", name.substr(name.size() - 1) + "\n");
        dir.write("sys/devices/" + path + "/start", std::to_string(start) + "\n");
        dir.write("sys/devices/" + path + "/size", std::to_string(size) + "\n");
        link(path, name, number);
    }
    void link(const std::string& path, const std::string& name, const std::string& number) {
        std::filesystem::create_directories(dir.path() / "sys/dev/block");
        std::filesystem::create_directories(dir.path() / "sys/class/block");
        std::filesystem::create_symlink("../../devices/" + path, dir.path() / "sys/dev/block" / number);
        std::filesystem::create_symlink("../../devices/" + path, dir.path() / "sys/class/block" / name);
    }
    // The firmware's current boot entry, 000A, as it leads to a partition; as much of it as `size` allows.
    void boot_entry(std::uint32_t number, std::uint64_t first, std::uint64_t count, std::size_t size = SIZE_MAX) {
        lab::byte_builder path;
        path.u8(2).u8(1).u16_le(12).u64_le(0);  // an ACPI node
        path.u8(4).u8(1).u16_le(42).u32_le(number).u64_le(first).u64_le(count).fill(18);
        path.u32_le(0x0004FF7F);
        lab::byte_builder option;
        option.u32_le(7).u32_le(1).u16_le(static_cast<std::uint16_t>(path.size())).u32_le('X').bytes(path.take());
        write_variable("BootCurrent", lab::byte_builder().u32_le(6).u16_le(0x000A).take());
        size = std::min(size, option.size());
        write_variable("Boot000A", byte_view(option.take()).first(size));
    }
    void write_variable(const std::string& name, byte_view data) {
        dir.write("sys/firmware/efi/efivars/" + name + "-8be4df61-93ca-11d2-aa0d-00e098032b8c", data);
    }
    std::string volumes_with(const std::string& mounts) {
        dir.write("proc/self/mountinfo", mounts);
        std::vector<disk_volume> volumes;
        linux_disk disk(dir.path().string());
        std::string text = ok(disk.volumes(volumes)) ? "" : "none";
        for (const disk_volume& volume : volumes) {
            EXPECT_TRUE(volume.root.starts_with(dir.path().string()));
            text += std::string(1, volume.letter) + " " + std::to_string(volume.first_lba) + "-" +
                    std::to_string(volume.last_lba) + " " + volume.root.substr(dir.path().string().size()) + ";";
        }
        return text;
    }
    test::temp_dir dir;
};

TEST(LinuxDisk, FindsTheVolumesOfTheDiskThatHoldsTheRoot) {
    struct {
        const char* name;
        std::string mounts;
        const char* volumes;
    } const rows[] = {
        {"partitions, in order of their place",
         "1 0 8:2 / / rw - ext4 /dev/sda2 rw\n2 1 8:3 / /data rw shared:1 master:2 - ext4 /dev/sda3 rw\n"
         "3 1 8:1 / /boot\\040efi rw - vfat /dev/sda1 rw\n4 1 0:5 / /proc rw - proc proc rw\n",
         "C 4096-12287 ;D 2048-3071 /boot efi;E 16384-98303 /data;"},
        {"the whole of a volume before its parts, and each once",
         "1 0 8:2 / / rw - ext4 /dev/sda2 rw\n2 1 8:1 /part /part rw - ext4 x rw\n3 1 8:1 / /whole rw - ext4 x rw\n",
         "C 4096-12287 ;D 2048-3071 /whole;"},
        {"the last mount on the root hides the first",
         "1 0 8:16 / / rw - ext4 /dev/sdb rw\n2 1 8:1 / / rw - ext4 /dev/sda1 rw\n", "C 2048-3071 ;"},
        {"encrypted root", "1 0 253:0 / / rw - ext4 /dev/mapper/root rw\n", "C 16384-98303 ;"},
        {"root on a file system with a number of its own",
         "1 0 0:31 /@ / rw - btrfs /dev/sda2 rw\n2 1 0:31 /@home /home rw - btrfs /dev/sda2 rw\n", "C 4096-12287 ;"},
        {"whole disk", "1 0 8:16 / / rw - ext4 /dev/sdb rw\n", "C 0-4999 ;"},
        {"other disks have no letter", "1 0 8:16 / / rw - ext4 x rw\n2 1 8:1 / /usb rw - ext4 x rw\n", "C 0-4999 ;"},
        {"damaged table", "1 0\n\n - \\04", "none"},
    };
    disk_tree tree;
    for (const auto& row : rows) {
        EXPECT_EQ(tree.volumes_with(row.mounts), row.volumes) << row.name;
    }
    std::filesystem::create_symlink("../../sdb", tree.dir.path() / "sys/devices/dm-0/slaves/sdb");
    EXPECT_EQ(tree.volumes_with("1 0 253:0 / / rw - ext4 x rw\n"), "none") << "a device that spans two disks";
    tree.dir.write("sys/devices/sda/queue/logical_block_size", "4096\n");
    EXPECT_EQ(tree.volumes_with("1 0 8:2 / / rw - ext4 x rw\n"), "C 512-1535 ;") << "large sectors";
}

TEST(LinuxDisk, ReadsWholeSectorsOnly) {
    disk_tree tree;
    tree.dir.write("proc/self/mountinfo", "1 0 8:2 / / rw - ext4 /dev/sda2 rw\n");
    linux_disk disk(tree.dir.path().string());
    std::uint32_t size = 0;
    EXPECT_EQ(disk.sector_size(size), os_status::success);
    EXPECT_EQ(size, 512U);
    std::array<std::uint8_t, 512> sector{};
    EXPECT_EQ(disk.read(1, sector), os_status::success);
    EXPECT_EQ(sector[511], '1');
    EXPECT_EQ(disk.read(2, sector), os_status(EIO));
    EXPECT_EQ(disk.read(UINT64_MAX, sector), os_status(EINVAL));
    std::filesystem::remove(tree.dir.path() / "dev/sda");
    EXPECT_EQ(disk.read(1, sector), os_status(ENOENT));
    ASSERT_EQ(::mkfifo(tree.dir.file("dev/sda").c_str(), 0600), 0);
    EXPECT_EQ(disk.read(1, sector), os_status(ESPIPE));
}

constexpr const char* root_in_memory = "1 0 0:2 / / rw - tmpfs none rw\n2 1 8:1 / /mnt rw - ext4 x rw\n";

std::string choice(const std::string& disk, const std::string& reason) {
    return "The root directory lies on no disk. Disk \"" + disk + "\" is taken for the boot disk, as " + reason + ".";
}

TEST(LinuxDisk, IsChosenWhereTheRootLiesOnNone) {
    const std::string only = "the only fixed one of the machine";
    struct {
        const char* name;
        void (*change)(disk_tree&);
        std::string choice;
        const char* volumes;
    } const rows[] = {
        {"nothing is known", [](disk_tree&) {}, "", "none"},
        {"by the boot entry", [](disk_tree& t) { t.boot_entry(2, 4096, 8192); },
         choice("/dev/sda", "it holds partition 2 of the firmware's current boot entry Boot000A"),
         "C 2048-3071 /mnt;"},
        {"a partition at another place", [](disk_tree& t) { t.boot_entry(2, 4097, 8192); }, "", "none"},
        {"of another size", [](disk_tree& t) { t.boot_entry(2, 4096, 8193); }, "", "none"},
        {"of another number", [](disk_tree& t) { t.boot_entry(3, 4096, 8192); }, "", "none"},
        {"on two disks",
         [](disk_tree& t) { t.boot_entry(2, 4096, 8192), t.partition("sdb", "sdb2", "8:18", 4096, 8192); }, "",
         "none"},
        {"the only fixed disk", [](disk_tree& t) { t.disk("x!y", "9:0", 9), t.fix("x!y"); }, choice("/dev/x/y", only),
         ""},
        {"a removable one beside it", [](disk_tree& t) { t.fix("sda"), t.fix("sdb", "removable"); },
         choice("/dev/sda", only), "C 2048-3071 /mnt;"},
        {"one that cannot be written beside it", [](disk_tree& t) { t.fix("sda"), t.fix("sdb", "ro"); },
         choice("/dev/sda", only), "C 2048-3071 /mnt;"},
        {"two fixed disks", [](disk_tree& t) { t.fix("sda"), t.fix("sdb"); }, "", "none"},
        {"one of two by the boot entry",
         [](disk_tree& t) { t.fix("sda"), t.fix("sdb"), t.boot_entry(1, 2048, 1024); },
         choice("/dev/sda", "it holds partition 1 of the firmware's current boot entry Boot000A"),
         "C 2048-3071 /mnt;"},
    };
    for (const auto& row : rows) {
        disk_tree tree;
        row.change(tree);
        EXPECT_EQ(tree.volumes_with(root_in_memory), row.volumes) << row.name;
        EXPECT_EQ(linux_disk(tree.dir.path().string()).choice().value_or(""), row.choice) << row.name;
    }
}

TEST(LinuxDisk, TakesNoBootEntryThatIsCut) {
    disk_tree tree;
    tree.dir.write("proc/self/mountinfo", root_in_memory);
    for (std::size_t size = 0; size < 72; ++size) {
        tree.boot_entry(2, 4096, 8192, size);
        EXPECT_FALSE(linux_disk(tree.dir.path().string()).choice().has_value()) << size;
    }
    tree.boot_entry(2, 4096, 8192);
    EXPECT_TRUE(linux_disk(tree.dir.path().string()).choice().has_value());
}

}  // namespace
}  // namespace vellum
