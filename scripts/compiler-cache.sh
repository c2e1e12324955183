# Sourced by the scripts that build: sets launcher to what CMake needs to use the compiler cache, if there is one.
# Compiled files are found again from another clone, too; so are those that read headers compiled beforehand.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_PCH_EXTSUM=1
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
