# SPDX-License-Identifier: Apache-2.0
# Compiler settings for every target. Targets link to them PRIVATE, so projects that use the
# installed libraries do not get them.
include(CheckCCompilerFlag)
include(CheckPIESupported)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported() # without this, CMake compiles programs as PIE but does not link them as PIE

add_library(vellumo_settings INTERFACE)
target_compile_features(vellumo_settings INTERFACE cxx_std_20)
target_compile_definitions(vellumo_settings INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(vellumo_settings INTERFACE
    -Wall -Wextra $<$<BOOL:${VELLUMO_WARNINGS_AS_ERRORS}>:-Werror>
    -Wshadow -Wconversion
    "$<$<COMPILE_LANGUAGE:CXX>:-Wpedantic;-Wsign-conversion>"
    "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Wold-style-cast;-Wformat=2;-Wundef>")
target_link_options(vellumo_settings INTERFACE -Wl,-z,relro,-z,now -Wl,--no-undefined)

# Options that make mistakes harder to exploit, because the code runs as root.
target_compile_options(vellumo_settings INTERFACE -fstack-protector-strong)
foreach(flag -fstack-clash-protection -fcf-protection) # some processors do not have them
    string(MAKE_C_IDENTIFIER "has${flag}" has)
    check_c_compiler_flag(${flag} ${has})
    target_compile_options(vellumo_settings INTERFACE $<$<BOOL:${${has}}>:${flag}>)
endforeach()
# glibc's own checks. They need optimisation, and they hide calls from the sanitizers.
set(FORTIFICATION 3)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
    set(FORTIFICATION 2)
endif()
string(TOUPPER "${CMAKE_BUILD_TYPE}" TYPE)
foreach(language C CXX)
    if(NOT VELLUMO_SANITIZE
       AND "${CMAKE_${language}_FLAGS} ${CMAKE_${language}_FLAGS_${TYPE}}" MATCHES "-O[1-9gsz]")
        target_compile_options(vellumo_settings INTERFACE
            "$<$<COMPILE_LANGUAGE:${language}>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${FORTIFICATION}>")
    endif()
endforeach()
# These checks also turn on warnings about unused results. GCC warns even where a cast to void shows
# that the code ignores the result on purpose; clang, and so scripts/lint, does not.
target_compile_options(vellumo_settings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-unused-result>)

if(VELLUMO_SANITIZE)
    add_compile_options(-fsanitize=${VELLUMO_SANITIZE} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VELLUMO_SANITIZE})
endif()
if(VELLUMO_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
