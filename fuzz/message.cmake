rb_fuzz(message SOURCES message_fuzzer.cpp ${PROJECT_SOURCE_DIR}/tests/message/message_rules.cpp
        LIBS rb_message)
target_include_directories(fuzz_message PRIVATE ${PROJECT_SOURCE_DIR}/tests)
rb_fuzz(calendar_kind SOURCES calendar_kind_fuzzer.cpp LIBS rb_message)

# Not a target itself: what script/fuzz gives the fuzzers besides their corpora.
add_executable(make_messages make_messages.cpp)
target_link_libraries(make_messages PRIVATE rb_options rb_message)
target_include_directories(make_messages PRIVATE ${PROJECT_SOURCE_DIR}/tests)
