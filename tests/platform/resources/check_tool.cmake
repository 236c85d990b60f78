# `qnlith resources` on the test module and its twins: the same listing for
# the ELF module, the PE image and the .res file, with the strings of the
# string tables; a file that is no module fails with status 1.
#   cmake -DQNLITH=... -DMODULE=... -DPE=... -DRES=... -P check_tool.cmake
foreach(file MODULE PE RES)
  execute_process(COMMAND ${QNLITH} resources ${${file}} RESULT_VARIABLE status OUTPUT_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "qnlith resources ${${file}} failed with ${status}")
  endif()
  string(FIND "${out}" "\n" end)
  string(SUBSTRING "${out}" 0 ${end} header_${file})
  math(EXPR end "${end} + 1")
  string(SUBSTRING "${out}" ${end} -1 listing_${file})
endforeach()
foreach(expected [[type "ANICURSORS"]] [[name "NAMED", language 0x0409, 12 bytes]]
                 [[string 70: "Inserts: %1 and %2!d!."]] [[string 1: "Hallo aus dem Modul"]]
                 [[type 14 (RT_GROUP_ICON)]] [[name 4, language 0x0000, 56 bytes]])
  string(FIND "${listing_MODULE}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "missing from the listing: ${expected}\n${listing_MODULE}")
  endif()
endforeach()
if(NOT listing_MODULE STREQUAL listing_PE OR NOT listing_MODULE STREQUAL listing_RES)
  message(FATAL_ERROR "the twins list differently:\n${listing_MODULE}\n--- PE\n${listing_PE}\n--- RES\n${listing_RES}")
endif()
if(NOT header_MODULE MATCHES "ELF module$" OR NOT header_PE MATCHES "PE image$" OR NOT header_RES MATCHES "res file$")
  message(FATAL_ERROR "kinds: ${header_MODULE} / ${header_PE} / ${header_RES}")
endif()
execute_process(COMMAND ${QNLITH} resources ${CMAKE_CURRENT_LIST_FILE} RESULT_VARIABLE status ERROR_VARIABLE err)
if(NOT status EQUAL 1 OR NOT err MATCHES "Error was: \\(193\\)")
  message(FATAL_ERROR "a script file: status ${status}, ${err}")
endif()
