# Debian's cross compiler, and qemu-user to run what it makes. The libraries of the target are those that scripts/setup cross
# unpacks under build/sysroot; what has no architecture, such as CLI11, is this machine's. The file that includes this one
# sets `triplet` and `emulator` for its target.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
get_filename_component(sysroot ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${triplet} ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(ENV{PKG_CONFIG_LIBDIR} ${sysroot}/usr/lib/${triplet}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
# Where the libraries that libedit needs are, in either of Debian's layouts.
set(sysroot_libraries ${sysroot}/usr/lib/${triplet} ${sysroot}/lib/${triplet})
list(JOIN sysroot_libraries : rpath_link)
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${rpath_link})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${sysroot_libraries})
# The emulator's loader finds them, so that no path of this machine gets into a program.
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L ${sysroot})
