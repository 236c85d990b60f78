# Modules and files with resources for the tests of the platform layer and
# of the library: the test module (an ELF shared object with resources),
# its twins built by the GNU tools for Windows from the same scripts (a PE
# image and a .res file), an executable with resources, modules the dynamic
# linker refuses, and the image files all of them are made of.
set(QN_TEST_DATA ${CMAKE_CURRENT_BINARY_DIR}/resources CACHE INTERNAL "test resource files")
set(QN_TEST_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/resources CACHE INTERNAL "test resource sources")
set(sources ${QN_TEST_SOURCES})

find_package(PNG REQUIRED)
add_executable(qn_make_images resources/make_images.cpp)
target_link_libraries(qn_make_images PRIVATE PNG::PNG)
set(images colors.ico pointer.cur picture.bmp rle.bmp alpha.bmp spinner.ani notacursor.bin long_string.rci)
list(TRANSFORM images PREPEND ${QN_TEST_DATA}/ OUTPUT_VARIABLE QN_TEST_IMAGES)
add_custom_command(OUTPUT ${QN_TEST_IMAGES}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${QN_TEST_DATA}
  COMMAND qn_make_images ${QN_TEST_DATA}
  DEPENDS qn_make_images
  COMMENT "Writing the test images"
  VERBATIM)
add_custom_target(qn_test_images DEPENDS ${QN_TEST_IMAGES})

add_library(qn_test_module SHARED resources/module.cpp)
target_include_directories(qn_test_module PRIVATE ${PROJECT_SOURCE_DIR}/include)
qnlith_use_build_flags(qn_test_module)
qnlith_add_resources(qn_test_module resources/module.rc resources/messages.mc
  INCLUDE_DIRECTORIES ${QN_TEST_DATA} DEPENDS ${QN_TEST_IMAGES})

# A plug-in that uses the library from inside a module of its own.
add_library(qn_test_plugin SHARED resources/plugin.cpp)
target_link_libraries(qn_test_plugin PRIVATE Qnlith50)
qnlith_use_build_flags(qn_test_plugin)
qnlith_add_resources(qn_test_plugin resources/plugin.rc)

add_executable(qn_test_program resources/program.cpp)
qnlith_add_resources(qn_test_program resources/program.rc)

# Scripts that share a name, a message file in UTF-8 and one in the code page
# its options name, and a define given to windres.
add_library(qn_test_stems SHARED resources/stems/stems.cpp)
qnlith_add_resources(qn_test_stems resources/stems/en/strings.rc resources/stems/de/strings.rc
  resources/stems/app.rc resources/stems/app.mc WINDRES_OPTIONS -DQN_OPTION_ID=40)
qnlith_add_message_file(qn_test_latin_messages NAME QNTEST.MSG resources/stems/latin1.mc WINDMC_OPTIONS -C 1252)

add_library(qn_test_dependency SHARED resources/dependency.cpp)
target_include_directories(qn_test_dependency PRIVATE ${PROJECT_SOURCE_DIR}/include)
add_library(qn_test_unresolved SHARED resources/broken.cpp)
target_compile_definitions(qn_test_unresolved PRIVATE QN_TEST_UNRESOLVED)
target_include_directories(qn_test_unresolved PRIVATE ${PROJECT_SOURCE_DIR}/include)
add_library(qn_test_lost_dependency SHARED resources/broken.cpp)
target_include_directories(qn_test_lost_dependency PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(qn_test_lost_dependency PRIVATE qn_test_dependency)
# Without a run path the linker can't find the dependency at run time.
set_target_properties(qn_test_lost_dependency PROPERTIES SKIP_BUILD_RPATH ON)
foreach(broken qn_test_unresolved qn_test_lost_dependency qn_test_dependency)
  qnlith_use_build_flags(${broken})
endforeach()

# The twins: windres to .res, and windres to COFF linked by the GNU linker
# for Windows into a resource-only PE image.
find_program(QNLITH_MINGW_LD NAMES x86_64-w64-mingw32-ld REQUIRED)
set(mcdir ${QN_TEST_DATA}/messages)
set(rc ${QNLITH_WINDRES} --preprocessor=${QNLITH_RC_PREPROCESSOR}
       --include-dir=${sources} --include-dir=${QN_TEST_DATA} --include-dir=${mcdir})
add_custom_command(OUTPUT ${QN_TEST_DATA}/module.res ${QN_TEST_DATA}/module.dll
  COMMAND ${CMAKE_COMMAND} -E make_directory ${mcdir}
  COMMAND ${QNLITH_WINDMC} -U -r ${mcdir} -h ${mcdir} ${sources}/messages.mc
  COMMAND ${rc} -O res -i ${sources}/twins.rc -o ${QN_TEST_DATA}/module.res
  COMMAND ${rc} -O coff -i ${sources}/twins.rc -o ${QN_TEST_DATA}/module.o
  COMMAND ${QNLITH_MINGW_LD} --dll -e 0 -o ${QN_TEST_DATA}/module.dll ${QN_TEST_DATA}/module.o
  DEPENDS ${sources}/twins.rc ${sources}/module.rc ${sources}/messages.mc ${QN_TEST_IMAGES}
  WORKING_DIRECTORY ${sources}
  COMMENT "Building the PE and .res twins of the test module"
  VERBATIM)
add_custom_target(qn_test_twins DEPENDS ${QN_TEST_DATA}/module.res ${QN_TEST_DATA}/module.dll)

# What a test program needs to find them.
function(qnlith_use_test_modules target)
  add_dependencies(${target} qn_test_module qn_test_plugin qn_test_program qn_test_twins qn_test_images
                   qn_test_unresolved qn_test_lost_dependency qn_test_stems qn_test_latin_messages)
  target_compile_definitions(${target} PRIVATE
    QN_TEST_DATA="${QN_TEST_DATA}"
    QN_TEST_MODULE="$<TARGET_FILE:qn_test_module>"
    QN_TEST_MODULE_NAME="$<TARGET_FILE_NAME:qn_test_module>"
    QN_TEST_PROGRAM="$<TARGET_FILE:qn_test_program>"
    QN_TEST_PLUGIN="$<TARGET_FILE:qn_test_plugin>"
    QN_TEST_UNRESOLVED="$<TARGET_FILE:qn_test_unresolved>"
    QN_TEST_LOST_DEPENDENCY="$<TARGET_FILE:qn_test_lost_dependency>"
    QN_TEST_STEMS="$<TARGET_FILE:qn_test_stems>"
    QN_TEST_LATIN_MESSAGES="$<TARGET_FILE:qn_test_latin_messages>"
    QN_TEST_PE="${QN_TEST_DATA}/module.dll"
    QN_TEST_RES="${QN_TEST_DATA}/module.res")
  target_include_directories(${target} PRIVATE ${QN_TEST_SOURCES})
endfunction()

add_test(NAME qnlith.resources.lists_the_twins_alike
  COMMAND ${CMAKE_COMMAND} -DQNLITH=$<TARGET_FILE:qnlith> -DMODULE=$<TARGET_FILE:qn_test_module>
          -DPE=${QN_TEST_DATA}/module.dll -DRES=${QN_TEST_DATA}/module.res
          -P ${QN_TEST_SOURCES}/check_tool.cmake)

# The function as an application gets it: from the installed package.
if(NOT QNLITH_SANITIZE AND NOT QNLITH_TSAN)
  add_test(NAME package.qnlith_add_resources
           COMMAND ${QN_TEST_SOURCES}/check_package.sh ${PROJECT_BINARY_DIR} ${QN_TEST_SOURCES}/consumer
                   ${QN_TEST_DATA}/package)
endif()
