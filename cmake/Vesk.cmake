# Shared build rules: warnings, sanitizers, the Windows cross-build, and the two helpers that
# every source folder uses (vesk_library, vesk_tests).

add_compile_options(-Wall -Wextra -Werror)
# GCC 12, when it inlines std::string at -O2/-O3, reports impossible memcpy overlaps (GCC bug
# 105329) and "maybe uninitialized" bytes of short strings inside the library's own code: false
# positives of that compiler in optimised builds, switched off there only.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict $<$<NOT:$<CONFIG:Debug>>:-Wno-maybe-uninitialized>)
endif()

if(VESK_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
endif()

if(WIN32)
  # Binaries import only system DLLs.
  add_link_options(-static -static-libgcc -static-libstdc++)
  add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
endif()

# GoogleTest: Debian's packaged build natively; built from /usr/src/googletest for Windows.
if(WIN32 OR VESK_FUZZ)
  if(NOT VESK_FUZZ)
    set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    # GoogleTest itself is not held to our warning rules.
    foreach(t gtest gtest_main gmock gmock_main)
      if(TARGET ${t})
        target_compile_options(${t} PRIVATE -Wno-error)
      endif()
    endforeach()
    # Recent GoogleTest releases declare the GTest:: names themselves.
    foreach(t gtest gtest_main gmock gmock_main)
      if(NOT TARGET GTest::${t})
        add_library(GTest::${t} ALIAS ${t})
      endif()
    endforeach()
  endif()
else()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# vesk_library(NAME [DEPS lib...] [EXCLUDE file.cpp...] [SOURCES file.cpp...]) builds the .cpp
# files of the current folder into a static library: *_test.cpp files are left to vesk_tests;
# *_posix.cpp and *_win32.cpp are taken only on their platform. A folder that makes two libraries
# names the files of the second after SOURCES, and leaves them out of the first with EXCLUDE.
function(vesk_library name)
  cmake_parse_arguments(ARG "" "" "DEPS;EXCLUDE;SOURCES" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  list(FILTER srcs EXCLUDE REGEX "_test\\.cpp$")
  foreach(f ${ARG_EXCLUDE})
    list(REMOVE_ITEM srcs ${CMAKE_CURRENT_SOURCE_DIR}/${f})
  endforeach()
  # *_enregistrement.cpp registers the folder's commands when the program starts: it is compiled
  # into every program that links the library (a static library would leave it out, since
  # nothing refers to it), so that no host has to remember to register anything.
  file(GLOB enregistrements CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_enregistrement.cpp)
  if(ARG_SOURCES)
    list(TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE srcs)
    set(enregistrements "")
  endif()
  list(FILTER srcs EXCLUDE REGEX "_enregistrement\\.cpp$")
  if(WIN32)
    list(FILTER srcs EXCLUDE REGEX "_posix\\.cpp$")
  else()
    list(FILTER srcs EXCLUDE REGEX "_win32\\.cpp$")
  endif()
  # Every library of the component and the service library is installed for C++ users
  # (cmake/Installation.cmake): its headers under include/vesk, its registrations beside them.
  set_property(GLOBAL APPEND PROPERTY VESK_BIBLIOTHEQUES ${name})
  set(entete $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src> $<INSTALL_INTERFACE:include/vesk>)
  if(NOT srcs)
    # A folder with headers only (so far).
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${entete})
    target_link_libraries(${name} INTERFACE ${ARG_DEPS})
    return()
  endif()
  add_library(${name} STATIC ${srcs})
  target_include_directories(${name} PUBLIC ${entete})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
  file(RELATIVE_PATH dossier ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
  foreach(f ${enregistrements})
    get_filename_component(nom ${f} NAME)
    target_sources(${name} INTERFACE $<BUILD_INTERFACE:${f}>
                   $<INSTALL_INTERFACE:share/vesk/enregistrement/${dossier}/${nom}>)
    set_property(GLOBAL APPEND PROPERTY VESK_ENREGISTREMENTS ${dossier}/${nom})
  endforeach()
endfunction()

# vesk_tests(NAME [DEPS lib...]) builds every *_test.cpp of the current folder, with the folder's
# test support (testing/*.cpp), into one GoogleTest program NAME, registered with CTest (under
# Wine for the Windows build, through the emulator). Test support never goes into a library.
function(vesk_tests name)
  cmake_parse_arguments(ARG "" "" "DEPS" ${ARGN})
  if(VESK_FUZZ OR NOT VESK_TESTS)
    return()
  endif()
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  if(NOT srcs)
    message(FATAL_ERROR "vesk_tests(${name}): no *_test.cpp in ${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  file(GLOB support CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/testing/*.cpp)
  add_executable(${name} ${srcs} ${support})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gtest_main)
  if(WIN32)
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "VESK_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                         PROPERTIES ENVIRONMENT "VESK_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
  endif()
endfunction()

# vesk_texte_inclus(TARGET FILE NAME): makes NAME.inc in the target's build folder, the text of
# FILE as a C++ raw string literal (`constexpr std::string_view t =\n#include "NAME.inc"\n;`),
# remade when FILE changes.
function(vesk_texte_inclus target fichier nom)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${fichier})
  file(READ ${fichier} texte)
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/inclus/${nom}.inc
       CONTENT "R\"VESK(${texte})VESK\"\n" @ONLY)
  target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/inclus)
endfunction()
