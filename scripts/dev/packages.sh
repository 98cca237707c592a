# What Debian packages the product is made with, one line a purpose.
packages=(
    g++ cmake ninja-build ccache mold pkg-config git ca-certificates curl python3
    libfmt-dev libspdlog-dev nlohmann-json3-dev libcli11-dev
    libvips-dev libjpeg62-turbo-dev
    libicu-dev libyaml-dev libsimdjson-dev
    libtiff-dev libheif-dev libdlib-dev libdlib-data libtesseract-dev tesseract-ocr-eng
    libcurl4-openssl-dev libssl-dev zlib1g-dev
    wordnet-base
)
test_packages=(
    libgtest-dev libgmock-dev libbenchmark-dev
    libimage-exiftool-perl libvips-tools
)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Installs those of the named packages that are missing, and says nothing when none is.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "Installing: ${missing[*]}" >&2
    as_root apt-get update -qq >&2
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}
