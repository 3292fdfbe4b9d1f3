rb_test(stores_mime_test
  SOURCES
    mime/address_field_test.cpp
    mime/carried_parts_test.cpp
    mime/circles_test.cpp
    mime/forward_rules_test.cpp
    mime/forward_test.cpp
    mime/header_block_test.cpp
    mime/hostile_mail_test.cpp
    mime/message_kind_test.cpp
    mime/message_rules.cpp
    mime/message_test.cpp
    mime/part_tree_test.cpp
  LIBS rb_store_mime GTest::gmock)
target_include_directories(stores_mime_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/..)
target_compile_definitions(stores_mime_test PRIVATE RB_MAIL_SAMPLES="${PROJECT_SOURCE_DIR}/tests/data/mail"
  RB_FUZZ_MESSAGES="${PROJECT_SOURCE_DIR}/fuzz/corpus/message")
