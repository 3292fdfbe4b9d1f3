# cmake -DCHMCMD=program -DHELP_DIR=dir -DPICTURES=dir -DWORK_DIR=dir -DOUTPUT=file -P compile_help.cmake: compiles
# the manual into one help file. The compiler works in the folder of its project and wants every page
# beside it, and leaves an empty file behind when it fails.

cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${WORK_DIR})
file(GLOB parts ${HELP_DIR}/pages/* ${HELP_DIR}/rbx.hh*)
file(COPY ${parts} DESTINATION ${WORK_DIR})
file(STRINGS ${HELP_DIR}/rbx.hhp pictures REGEX "\\.png$")
foreach(picture IN LISTS pictures)
  file(COPY ${PICTURES}/${picture} DESTINATION ${WORK_DIR})
endforeach()
file(REMOVE ${OUTPUT})
execute_process(COMMAND ${CHMCMD} rbx.hhp WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE result
                OUTPUT_VARIABLE words ERROR_VARIABLE words)
set(made ${WORK_DIR}/rbx.chm)
set(size 0)
if(EXISTS ${made})
  file(SIZE ${made} size)
endif()
if(NOT result EQUAL 0 OR size EQUAL 0 OR words MATCHES "[Ww]arning|[Ee]rror")
  message(FATAL_ERROR "the manual could not be compiled:\n${words}")
endif()
file(COPY_FILE ${made} ${OUTPUT})
