# Debian's cross compiler, with qemu-user to run the programs. The target's libraries are in build/sysroot, where
# "scripts/setup cross" unpacks them; header-only ones, such as CLI11, are taken from this machine. The including file sets
# `triplet` and `emulator`.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
get_filename_component(sysroot ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${triplet} ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(ENV{PKG_CONFIG_LIBDIR} ${sysroot}/usr/lib/${triplet}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
# The directories of libedit's dependencies, in either of Debian's layouts.
set(sysroot_libraries ${sysroot}/usr/lib/${triplet} ${sysroot}/lib/${triplet})
list(JOIN sysroot_libraries : rpath_link)
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${rpath_link})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${sysroot_libraries})
# Programs need no rpath, which would contain paths of this machine: the loader finds the libraries under -L (below).
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L ${sysroot})
