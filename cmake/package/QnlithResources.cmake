# qnlith_add_resources(<target> <file.rc|file.mc>...
#                      [INCLUDE_DIRECTORIES <dir>...] [DEPENDS <file>...]
#                      [WINDRES_OPTIONS <option>...] [WINDMC_OPTIONS <option>...])
#
# Gives an executable or shared library Windows resources. Each .rc script is
# compiled by GNU windres (Debian: binutils-mingw-w64-x86-64) into the
# standard .res format, and the .res bytes are linked into the target as an
# ELF note (owner "Qnlith", type 1) in an allocated note section: the note is
# mapped with the module and listed in its program headers, so the
# operating-system layer finds it for a loaded module without symbols, and in
# the file without loading it; stripping and --gc-sections keep it.
#
# A .mc message file is first compiled by windmc into a script with a
# UTF-16 message table; the .mc file is read as UTF-8 (windmc -C 65001).
# Files the scripts name (icons, cursors, bitmaps) are looked up beside the
# script and in INCLUDE_DIRECTORIES; the build reruns windres when the
# script, a file it names that exists at configure time, or one of DEPENDS
# changes. WINDRES_OPTIONS and WINDMC_OPTIONS go to every windres or windmc
# run, after the helper's own (so "-C 1252" reads a message file as
# Windows-1252). Scripts may share a name: each one's outputs are numbered
# in the order given (en/strings.rc and de/strings.rc, app.rc and app.mc).
include_guard(GLOBAL)

find_program(QNLITH_WINDRES NAMES x86_64-w64-mingw32-windres windres)
find_program(QNLITH_WINDMC NAMES x86_64-w64-mingw32-windmc windmc)
find_program(QNLITH_RC_PREPROCESSOR NAMES cpp)

function(qnlith_add_resources target)
  cmake_parse_arguments(QNRES "" "" "INCLUDE_DIRECTORIES;DEPENDS;WINDRES_OPTIONS;WINDMC_OPTIONS" ${ARGN})
  if(NOT QNRES_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "qnlith_add_resources(${target}): no resource scripts given")
  endif()
  if(NOT QNLITH_WINDRES OR NOT QNLITH_RC_PREPROCESSOR)
    message(FATAL_ERROR "qnlith_add_resources needs windres and cpp "
                        "(Debian packages binutils-mingw-w64-x86-64 and cpp)")
  endif()

  # The note is emitted by top-level assembly in a source of a language the
  # target's project has enabled.
  get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  if("C" IN_LIST languages)
    set(extension c)
  else()
    set(extension cpp)
  endif()

  set(work ${CMAKE_CURRENT_BINARY_DIR}/qnlith_resources/${target})
  set(includes)
  foreach(dir ${QNRES_INCLUDE_DIRECTORIES})
    get_filename_component(dir "${dir}" ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
    list(APPEND includes --include-dir=${dir})
  endforeach()

  # Numbered across calls for one target too.
  get_property(number TARGET ${target} PROPERTY QNLITH_RESOURCE_SCRIPTS)
  if(NOT number)
    set(number 0)
  endif()
  foreach(script ${QNRES_UNPARSED_ARGUMENTS})
    get_filename_component(script "${script}" ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
    get_filename_component(stem "${script}" NAME_WE)
    math(EXPR number "${number} + 1")
    # Outputs are named by position as well as stem: two scripts may share one.
    set(unique ${number}-${stem})
    get_filename_component(kind "${script}" LAST_EXT)
    get_filename_component(folder "${script}" DIRECTORY)
    set(depends ${script} ${QNRES_DEPENDS})

    if(kind STREQUAL ".mc")
      if(NOT QNLITH_WINDMC)
        message(FATAL_ERROR "qnlith_add_resources: windmc not found for ${script}")
      endif()
      set(mcdir ${work}/${unique}.mc.d)
      add_custom_command(OUTPUT ${mcdir}/${stem}.rc
        COMMAND ${CMAKE_COMMAND} -E make_directory ${mcdir}
        COMMAND ${QNLITH_WINDMC} -U -C 65001 ${QNRES_WINDMC_OPTIONS} -r ${mcdir} -h ${mcdir} ${script}
        DEPENDS ${depends}
        COMMENT "Compiling message file ${stem}.mc"
        VERBATIM)
      set(source ${mcdir}/${stem}.rc)
      set(extra --include-dir=${mcdir})
      set(depends ${source} ${QNRES_DEPENDS})
    else()
      set(source ${script})
      set(extra)
      # Files the script names, as far as they exist now.
      file(STRINGS "${script}" lines REGEX "\"[^\"]+\\.[A-Za-z0-9]+\"")
      foreach(line ${lines})
        string(REGEX MATCHALL "\"[^\"]+\\.[A-Za-z0-9]+\"" names "${line}")
        foreach(name ${names})
          string(REPLACE "\"" "" name "${name}")
          foreach(dir ${folder} ${QNRES_INCLUDE_DIRECTORIES})
            get_filename_component(dir "${dir}" ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
            if(EXISTS "${dir}/${name}" AND NOT IS_DIRECTORY "${dir}/${name}")
              list(APPEND depends "${dir}/${name}")
              break()
            endif()
          endforeach()
        endforeach()
      endforeach()
    endif()

    set(res ${work}/${unique}.res)
    add_custom_command(OUTPUT ${res}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${work}
      COMMAND ${QNLITH_WINDRES} --preprocessor=${QNLITH_RC_PREPROCESSOR}
              --include-dir=${folder} ${includes} ${extra} ${QNRES_WINDRES_OPTIONS} -O res -i ${source} -o ${res}
      DEPENDS ${depends}
      WORKING_DIRECTORY ${folder}
      COMMENT "Compiling resources ${stem}${kind} for ${target}"
      VERBATIM)

    set(note ${work}/${unique}_resources.${extension})
    file(CONFIGURE OUTPUT ${note} CONTENT [==[
/* Resources of @script@, generated by qnlith_add_resources. */
__asm__(".pushsection .note.qnlith.resources,\"a\",@note\n"
        ".balign 4\n"
        ".long 7\n"
        ".long 2f - 1f\n"
        ".long 1\n"
        ".asciz \"Qnlith\"\n"
        ".balign 4\n"
        "1: .incbin \"@res@\"\n"
        "2: .balign 4\n"
        ".popsection\n");
]==] @ONLY)
    set_source_files_properties(${note} PROPERTIES OBJECT_DEPENDS ${res} GENERATED TRUE)
    target_sources(${target} PRIVATE ${note})
  endforeach()
  set_property(TARGET ${target} PROPERTY QNLITH_RESOURCE_SCRIPTS ${number})
endfunction()

# qnlith_add_message_file(<target> NAME <file name> <file.mc>...
#                         [WINDRES_OPTIONS <option>...] [WINDMC_OPTIONS <option>...])
#
# Builds a message file: a shared module with no code of its own that holds
# the message tables of the .mc files (read as UTF-8 unless WINDMC_OPTIONS
# say otherwise), under the exact file name given (for example QNLITH.MSG),
# for the library's messageText and for FormatMessageW with
# FORMAT_MESSAGE_FROM_HMODULE.
function(qnlith_add_message_file target)
  cmake_parse_arguments(QNMSG "" "NAME" "WINDRES_OPTIONS;WINDMC_OPTIONS" ${ARGN})
  if(NOT QNMSG_NAME OR NOT QNMSG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "qnlith_add_message_file(${target} NAME <file name> <file.mc>...)")
  endif()
  set(stub ${CMAKE_CURRENT_BINARY_DIR}/${target}_module.cpp)
  if(NOT EXISTS ${stub})
    file(WRITE ${stub} "// A module that carries only its message tables.\n")
  endif()
  add_library(${target} SHARED ${stub})
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX "" OUTPUT_NAME ${QNMSG_NAME})
  qnlith_add_resources(${target} ${QNMSG_UNPARSED_ARGUMENTS}
    WINDRES_OPTIONS ${QNMSG_WINDRES_OPTIONS} WINDMC_OPTIONS ${QNMSG_WINDMC_OPTIONS})
endfunction()
