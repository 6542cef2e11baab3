# appconfig_options: what every source of this repository is compiled and linked with.
# appconfig_hardening: the part of it that makes a release build hard to exploit; on its own so
# that a test program can be built with exactly these flags whatever the preset.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

include(CheckPIESupported)
check_pie_supported()

add_library(appconfig_hardening INTERFACE)
target_compile_options(appconfig_hardening INTERFACE
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fstack-clash-protection)
target_link_options(appconfig_hardening INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)

add_library(appconfig_options INTERFACE)
target_compile_options(appconfig_options INTERFACE
    -Wall -Wextra -Wshadow -Wconversion $<$<BOOL:${APPCONFIG_WERROR}>:-Werror>
    # no path of the building machine in the binaries
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffunction-sections -fdata-sections)
target_link_options(appconfig_options INTERFACE -Wl,--gc-sections)
target_link_libraries(appconfig_options INTERFACE
    $<$<CONFIG:Release>:appconfig_hardening>)

# The C++ runtime as a part of the daemon: a fifth less resident memory, less to relocate at the
# start, and nothing that the unwinder would have to load when memory is short.
add_library(appconfig_static_runtime INTERFACE)
if(NOT APPCONFIG_SANITIZE)
    target_link_options(appconfig_static_runtime INTERFACE -static-libstdc++ -static-libgcc)
endif()

if(APPCONFIG_SANITIZE)
    add_compile_options(-fsanitize=${APPCONFIG_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${APPCONFIG_SANITIZE})
endif()
