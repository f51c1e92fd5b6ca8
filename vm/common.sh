# Shared by the scripts of the virtual machine. Source it from the top of the tree.
# shellcheck disable=SC2034 # what the folders and names are for stands in the scripts that source this
. scripts/common.sh

readonly vm_packages=(cpio dosfstools e2fsprogs fdisk gcc gcc-mingw-w64-x86-64-win32 gdisk kmod libc6-dev libfuse3-dev
    mtools ovmf pkg-config qemu-system-x86 sbsigntool swtpm swtpm-tools tpm2-tools)

# Where everything that is made of the virtual machine lies.
readonly vm_made=build/vm

# What the firmware's package has for trials: variables in which Secure Boot is on, and the key that they trust.
readonly trial_variables=/usr/share/OVMF/OVMF_VARS_4M.snakeoil.fd
readonly trial_key=/usr/share/ovmf/PkKek-1-snakeoil.key trial_certificate=/usr/share/ovmf/PkKek-1-snakeoil.pem

# The labels of the file systems, which the guest looks for.
readonly esp_label=VELLUM_ESP root_label=vellum_root data_label=VELLUM_DATA

# fetch_package PACKAGE: unpacks it into $vm_made/packages/PACKAGE. What the guest consists of is never installed here: a
# kernel would be the next one to be booted, and the guest's shell would drive out another package.
fetch_package() {
    local into=$vm_made/packages/$1 files
    [ ! -d "$into" ] || return 0
    say "Fetching $1" 10 build/log/vm-fetch.log
    rm -rf "$into.part"
    mkdir -p "$into.part"
    (cd "$into.part" && run_quietly "$OLDPWD/build/log/vm-fetch.log" download_package "$1") ||
        fail "cannot fetch $1"
    files=("$into.part"/*.deb)
    dpkg-deb -x "${files[0]}" "$into.part"
    rm "${files[@]}"
    mv "$into.part" "$into"
}

# kernel_package: the package of the current kernel for virtual machines.
kernel_package() {
    apt-cache depends linux-image-cloud-amd64 | sed -n 's/^ *Depends: \(linux-image-[0-9].*\)/\1/p'
}

# copy_modules KERNEL ROOT MODULE...: copies the modules and those that they need from the unpacked kernel below ROOT, and
# lists them there in the order in which they have to be loaded.
copy_modules() {
    local kernel=$1 root=$2 version path module
    shift 2
    version=$(ls "$kernel/lib/modules")
    mkdir -p "$root/lib/modules"
    [ -s "$kernel/lib/modules/$version/modules.dep" ] || depmod -b "$kernel" "$version"
    for module in "$@"; do
        modprobe -d "$kernel" -S "$version" --show-depends "$module" | awk '$1 == "insmod" { print $2 }'
    done | awk '!seen[$0]++' | while read -r path; do
        cp "$path" "$root/lib/modules/"
        basename "$path"
    done >"$root/lib/modules/order"
}

# install_busybox ROOT: the guest's shell, under the name of each of its commands.
install_busybox() {
    local busybox=$vm_made/packages/busybox-static/bin/busybox name
    mkdir -p "$1/bin"
    cp "$busybox" "$1/bin/busybox"
    "$busybox" --list | while read -r name; do
        [ "$name" = busybox ] || ln -s busybox "$1/bin/$name"
    done
}
