# The option DRAVIX_LIBRAW: whether the tool reads cameras' own raw files, with LibRaw.
#
# It is on where LibRaw is found, and off for other systems than the one that builds: the Windows package has no LibRaw.
# The library itself never needs it.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND AND NOT CMAKE_CROSSCOMPILING)
  pkg_check_modules(DRAVIX_LIBRAW_LIBRARY QUIET IMPORTED_TARGET libraw_r>=0.20)
endif()
if(DRAVIX_LIBRAW_LIBRARY_FOUND)
  set(libraw_there ON)
  # The library brings OpenMP's run-time itself. Linking with -fopenmp would ask for the compiler's own, which clang has
  # in a package of its own.
  get_target_property(libraw_link_options PkgConfig::DRAVIX_LIBRAW_LIBRARY INTERFACE_LINK_OPTIONS)
  if(libraw_link_options)
    list(REMOVE_ITEM libraw_link_options -fopenmp)
    set_target_properties(PkgConfig::DRAVIX_LIBRAW_LIBRARY PROPERTIES INTERFACE_LINK_OPTIONS "${libraw_link_options}")
  endif()
else()
  set(libraw_there OFF)
endif()
option(DRAVIX_LIBRAW "Let the tool read cameras' raw files, with LibRaw" ${libraw_there})
if(DRAVIX_LIBRAW AND NOT libraw_there)
  message(FATAL_ERROR "DRAVIX_LIBRAW is on, but LibRaw 0.20 or newer was not found (Debian: scripts/install-deps)")
endif()
