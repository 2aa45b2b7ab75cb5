# Packages of an architecture that the machine does not run, unpacked into the build folder: sourced by common.sh.

# foreign_packages ARCHITECTURE FOLDER PACKAGE...: unpacks the Debian packages into FOLDER, once. The architecture is
# not added to the system: apt works with a separate state and the package sources of the machine.
foreign_packages() {
    local architecture=$1 folder=$root/$2
    shift 2
    local wanted="$architecture $*"
    [ "$(cat "$folder/.packages" 2>/dev/null)" = "$wanted" ] && return
    command -v apt-get >/dev/null || {
        echo "Please unpack these Debian packages for $architecture into $folder, then run this again: $*" >&2
        exit 1
    }
    echo "Fetching $* for $architecture"
    rm -rf "$folder"
    mkdir -p "$folder/.apt/lists/partial" "$folder/.apt/cache/archives/partial"
    # The machine may have deleted its package lists.
    [ -n "$(apt-get indextargets --format '$(ORIGIN)' 'Created-By: Packages')" ] || as_root apt-get update -qq || {
        echo "Please run: apt-get update" >&2
        exit 1
    }
    apt-get indextargets --format '$(ORIGIN) $(LABEL) deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        sed -n 's/^Debian Debian \(deb .* main\)$/\1/p' | sort -u >"$folder/.apt/sources.list"
    : >"$folder/.apt/status"
    local apt=(apt-get -qq -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
        -o "Dir::State=$folder/.apt" -o "Dir::State::Lists=$folder/.apt/lists"
        -o "Dir::State::status=$folder/.apt/status" -o "Dir::Cache=$folder/.apt/cache"
        -o "Dir::Etc::SourceList=$folder/.apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
        -o APT::Sandbox::User=root -o Acquire::Languages=none)
    "${apt[@]}" update
    (cd "$folder/.apt" && "${apt[@]}" download "$@")
    local package
    for package in "$folder"/.apt/*.deb; do
        dpkg -x "$package" "$folder"
    done
    rm -rf "$folder/.apt"
    echo "$wanted" >"$folder/.packages"
}
