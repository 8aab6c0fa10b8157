# Builds for another architecture of Debian with Debian's own cross compiler, against the system files that
# script/sysroot has fetched. DEBIAN_ARCH names the architecture, as dpkg does.

#        dpkg    triplet             processor
set(architectures
         armhf   arm-linux-gnueabihf arm
         arm64   aarch64-linux-gnu   aarch64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DEBIAN_ARCH)
list(FIND architectures "${DEBIAN_ARCH}" row)
if(row EQUAL -1)
  message(FATAL_ERROR "DEBIAN_ARCH is '${DEBIAN_ARCH}'; set it to an architecture that ${CMAKE_CURRENT_LIST_FILE} lists")
endif()
list(SUBLIST architectures ${row} 3 architecture)
list(GET architecture 1 triplet)
list(GET architecture 2 CMAKE_SYSTEM_PROCESSOR)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # remarks on compilers older than GCC 7
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
file(REAL_PATH ../build/sysroot-${DEBIAN_ARCH} CMAKE_SYSROOT BASE_DIRECTORY ${CMAKE_CURRENT_LIST_DIR})
if(NOT EXISTS ${CMAKE_SYSROOT})
  message(FATAL_ERROR "There is no ${CMAKE_SYSROOT}; make it with: script/sysroot ${DEBIAN_ARCH}")
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L ${CMAKE_SYSROOT})
set(CMAKE_INSTALL_LIBDIR lib/${triplet} CACHE PATH "Where libraries are installed, below the prefix")

# Qt's tools run here, so they are this machine's own.
foreach(tool moc rcc)
  if(NOT TARGET Qt5::${tool})
    add_executable(Qt5::${tool} IMPORTED)
    set_target_properties(Qt5::${tool} PROPERTIES IMPORTED_LOCATION /usr/lib/qt5/bin/${tool})
  endif()
endforeach()
file(GLOB Qt5LinguistTools_DIR /usr/lib/*/cmake/Qt5LinguistTools)
