rb_fuzz(message SOURCES message_fuzzer.cpp LIBS rb_store_mime)
target_include_directories(fuzz_message PRIVATE ${PROJECT_SOURCE_DIR}/tests)
rb_fuzz(calendar_kind SOURCES calendar_kind_fuzzer.cpp LIBS rb_store_mime)
