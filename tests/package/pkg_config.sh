# pkg_config.sh COMPILER MODULES EXAMPLES FOLDER: builds the examples in FOLDER with what pkg-config says about the
# modules in MODULES, no others, and runs them.
set -eu
compiler=$1 examples=$3
cd "$4"
export PKG_CONFIG_LIBDIR="$2"
command -v pkg-config || exit 77
libraries=$(pkg-config --variable=libdir tovi)
"$compiler" "$examples/solve_host.c" $(pkg-config --cflags --libs tovi) -Wl,-rpath,"$libraries" -o host
"$compiler" "$examples/solve_device.c" $(pkg-config --cflags --libs tovi-software) -Wl,-rpath,"$libraries" -o device
./host
./device
# They ask for the library by its major version, not by the name that a later version may have too.
objdump -p host | grep -q 'NEEDED .*libtovi\.so\.1$'
