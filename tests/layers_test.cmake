# cmake -DPROJECT=... -P layers_test.cmake: the check of the layers finds each kind of crossing, and lets
# pass what is right. Works on files of its own, in the folder it is run in.

cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE layers)

# expect(passes|fails path line): a source file of that one line.
function(expect outcome path line)
  file(WRITE layers/src/${path} "${line}\n")
  execute_process(COMMAND ${CMAKE_COMMAND} -DSOURCES=src/${path} -P ${PROJECT}/cmake/check_layers.cmake
                  WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/layers RESULT_VARIABLE result
                  OUTPUT_QUIET ERROR_QUIET)
  if((outcome STREQUAL "passes" AND NOT result EQUAL 0) OR (outcome STREQUAL "fails" AND result EQUAL 0))
    message(SEND_ERROR "${path} with ${line} does not end as it should: ${outcome}")
  endif()
endfunction()

expect(passes prefs/a.cpp "#include \"mail/mail_store.h\"")
expect(fails prefs/a.cpp "#include \"engine/inbox_pass.h\"")
expect(fails compose/a.cpp "#include \"engine/inbox_pass.h\"")
expect(fails mail/a.cpp "#include \"prefs/cls_pref.h\"")
expect(fails message/a.cpp "#include \"mail/mail_store.h\"")
expect(fails outbox/a.cpp "#include \"stores/maildir/maildir_store.h\"")
expect(fails stores/maildir/a.cpp "#include \"prefs/cls_pref.h\"")
expect(passes stores/another/a.cpp "#include \"stores/another/items/b.h\"")
expect(passes stores/another/a.cpp "#include \"mail/mail_store.h\"")
expect(fails stores/another/a.cpp "#include \"stores/maildir/maildir_store.h\"")
expect(passes stores/another/a.cpp "#include \"stores/mailbox/inbox.h\"")
expect(fails stores/mailbox/a.cpp "#include \"stores/maildir/maildir_store.h\"")
expect(fails engine/a.cpp "#include \"stores/mailbox/inbox.h\"")
expect(fails stores/another/a.cpp "#include \"engine/inbox_pass.h\"")
expect(fails engine/a.cpp "#include \"stores/maildir/maildir_store.h\"")
expect(fails ui/forms/a.cpp "#include \"ui/console/console_session.h\"")
expect(fails ui/desktop/views/a.cpp "#include \"ui/desktop/windows/main_window.h\"")
expect(passes platform/posix/a.cpp "#include \"platform/clock.h\"")
expect(fails platform/a.cpp "#include \"platform/posix/main_loop.h\"")
expect(fails engine/a.cpp "#include \"nowhere/a.h\"")
expect(fails nowhere/a.cpp "#include <string>")

expect(passes engine/a.cpp "#include <string>")
expect(fails engine/a.cpp "#include <unistd.h>")
expect(fails ui/forms/a.cpp "#include <wx/frame.h>")
expect(passes ui/desktop/windows/a.cpp "#include <wx/frame.h>")
expect(fails ui/desktop/windows/a.cpp "#include <gtk/gtk.h>")
expect(passes stores/maildir/a.cpp "#include <unistd.h>")
expect(fails engine/a.cpp "#ifdef _WIN32")
expect(fails ui/desktop/windows/a.cpp "#if defined(__WXGTK__)")
