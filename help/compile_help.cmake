# cmake -DCHMCMD=program -DPERL=program -DHELP_DIR=dir -DPICTURES=dir -DOUTPUT=file -P compile_help.cmake:
# compiles the manual into one help file. The compiler works in the folder of its project and wants every
# page beside it, and leaves an empty file behind when it fails.

cmake_minimum_required(VERSION 3.25)

# The project asks for no binary index: the compiler would write two bytes into it that it never set, and viewers
# read the index as text.
execute_process(COMMAND mktemp -d /tmp/rbx-help.XXXXXXXX OUTPUT_VARIABLE WORK_DIR
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(GLOB parts ${HELP_DIR}/pages/* ${HELP_DIR}/rbx.hh*)
file(COPY ${parts} DESTINATION ${WORK_DIR})
file(STRINGS ${HELP_DIR}/rbx.hhp pictures REGEX "\\.png$")
foreach(picture IN LISTS pictures)
  file(COPY ${PICTURES}/${picture} DESTINATION ${WORK_DIR})
endforeach()
file(REMOVE ${OUTPUT})

execute_process(COMMAND ${CHMCMD} rbx.hhp WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE result OUTPUT_VARIABLE words ERROR_VARIABLE words)
set(made ${WORK_DIR}/rbx.chm)
set(size 0)
if(EXISTS ${made})
  file(SIZE ${made} size)
endif()
if(NOT result EQUAL 0 OR size EQUAL 0 OR words MATCHES "[Ww]arning|[Ee]rror")
  file(REMOVE_RECURSE ${WORK_DIR})
  message(FATAL_ERROR "the manual could not be compiled:\n${words}")
endif()

# The time of the build stands in the header, behind its version and its length, and in the record of
# type 10 of #SYSTEM. Nobody reads it, and with it no two builds would be the same.
execute_process(
  COMMAND ${PERL} -0777 -pe [=[substr($_, 16, 4) = "\0" x 4;
    my $found = s/\x0a\0\x04\0\K.{4}(?=\x09\0..HHA Version )/\0\0\0\0/sg;
    die "the time of the build is not where it used to be\n" if $found != 1;]=] ${made}
  OUTPUT_FILE ${OUTPUT} RESULT_VARIABLE result ERROR_VARIABLE words)
file(REMOVE_RECURSE ${WORK_DIR})
if(NOT result EQUAL 0)
  file(REMOVE ${OUTPUT})
  message(FATAL_ERROR "the manual could not be made reproducible: ${words}")
endif()
