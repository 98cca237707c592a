# The inference runtime: a shared library that is loaded at run time, and the headers to build against.
# Both land in third_party/onnxruntime. Without them everything builds, and every model fails to load.
runtime_package=onnxruntime-node@1.27.0
runtime_member=package/bin/napi-v6/linux/x64/libonnxruntime.so.1
runtime_digest=d8aff4aa8abee8fb2abb2f2f2459ffc94461e781e41b9f7c072829dd0d470221
runtime_headers_suite=trixie

fetch_inference_runtime() {
    local folder=third_party/onnxruntime
    [ -e "$folder/libonnxruntime.so.1" ] && [ -e "$folder/include/onnxruntime_c_api.h" ] && return 0
    runtime_from_distribution && return 0
    echo "Fetching the inference runtime" >&2
    if ! { [ "$(uname -m)" = x86_64 ] && runtime_library "$folder" && runtime_headers "$folder"; }; then
        echo "The inference runtime is not to be had; models will not load." >&2
    fi
}

# From Debian 13 on the distribution has the runtime itself.
runtime_from_distribution() {
    [ -e /usr/include/onnxruntime/onnxruntime_c_api.h ] && return 0
    apt-cache show libonnxruntime-dev >/dev/null 2>&1 && install_packages libonnxruntime-dev
}

runtime_library() {
    local folder=$1 scratch
    command -v npm >/dev/null || install_packages npm || return 1
    scratch=$(mktemp -d)
    (
        cd "$scratch"
        npm pack "$runtime_package" --ignore-scripts --silent >/dev/null &&
            tar xzf ./*.tgz "$runtime_member" &&
            echo "$runtime_digest  $runtime_member" | sha256sum --check --quiet >&2
    ) && mkdir -p "$folder" && mv "$scratch/$runtime_member" "$folder/libonnxruntime.so.1"
    local outcome=$?
    rm -rf "$scratch"
    return $outcome
}

# The headers come from a later Debian release, through an apt state of its own that leaves the
# machine's untouched. Sources that do not carry that release are left out.
runtime_headers() {
    local folder=$1 scratch
    scratch=$(mktemp -d)
    mkdir -p "$scratch/lists/partial" "$scratch/cache/archives/partial" "$scratch/sources.d"
    chmod 755 "$scratch"
    # Only the release itself: its update and security suites are not needed for headers.
    local release
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    if [ -e /etc/apt/sources.list.d/debian.sources ]; then
        awk -v RS= -v old="$release" -v new="$runtime_headers_suite" '
            $0 ~ "Suites:[^\n]*" old "([ \n]|$)" { sub("Suites:[^\n]*", "Suites: " new); print; print "" }' \
            /etc/apt/sources.list.d/debian.sources >"$scratch/sources.d/headers.sources"
    fi
    [ ! -e /etc/apt/sources.list ] || awk -v old="$release" -v new="$runtime_headers_suite" '
        $1 == "deb" { for (i = 2; i <= NF; i++) if ($i == old) { $i = new; print } }' \
        /etc/apt/sources.list >"$scratch/sources.d/headers.list"
    local apt=(apt-get -qq -o "Dir::State::lists=$scratch/lists" -o "Dir::Cache=$scratch/cache"
        -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$scratch/sources.d"
        -o APT::Sandbox::User= -o Debug::NoLocking=true)
    (
        cd "$scratch"
        "${apt[@]}" update >/dev/null &&
            "${apt[@]}" download libonnxruntime-dev >/dev/null &&
            dpkg-deb -x libonnxruntime-dev_*.deb tree
    ) && mkdir -p "$folder/include" &&
        cp "$scratch"/tree/usr/include/onnxruntime/*.h "$folder/include/"
    local outcome=$?
    rm -rf "$scratch"
    return $outcome
}
