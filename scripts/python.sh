# shellcheck shell=bash
# What ./check and ./demo do with the Python package; to be sourced after setup.sh.

# Debian's own, whatever else stands on the PATH.
python=/usr/bin/python3

# The folder of an environment, made if it is not there or its Python has gone.
#   python_environment FOLDER PACKAGE ...
python_environment() {
    local folder=$1
    shift
    "$folder/bin/python" -c '' 2>/dev/null || "$python" -m venv --clear "$folder"
    "$folder/bin/pip" install --disable-pip-version-check --no-compile -q "$@"
}

# Builds the wheel into build/wheelhouse, alone there. The tools come from an environment of their own, so
# that the next build finds the objects of this one; the compilers are named as CMake names them, so that
# the compiler cache holds what the release preset has in common with it once.
#   python_wheel [OPTION OF PIP WHEEL ...]
python_wheel() {
    rm -rf build/wheelhouse
    python_environment build/python-tools 'scikit-build-core>=0.11' 'nanobind>=2.8' &&
        CC=cc CXX=c++ build/python-tools/bin/pip wheel --disable-pip-version-check -q --no-build-isolation \
            --no-deps -w build/wheelhouse "$@" .
}

# Installs that wheel into an environment, whatever stood there before.
#   python_install FOLDER EXTRAS PACKAGE ...
python_install() {
    local folder=$1 extras=$2
    shift 2
    local wheel
    wheel=$(echo build/wheelhouse/*.whl)
    python_environment "$folder" "$wheel$extras" "$@" &&
        "$folder/bin/pip" install --disable-pip-version-check --no-compile -q --force-reinstall --no-deps "$wheel"
}
