rb_test(stores_text_test
  SOURCES
    text/charset_test.cpp
    text/clean_text_test.cpp
    text/encoded_word_test.cpp
    text/html_charset_test.cpp
    text/html_hostile_test.cpp
    text/html_text_test.cpp
  LIBS rb_store_text)
rb_test(stores_address_test
  SOURCES
    address/address_book_file_test.cpp
    address/address_book_test.cpp
    address/address_check_test.cpp
    address/mail_address_test.cpp
    address/strict_mailbox_test.cpp
  LIBS rb_store_address rb_platform_posix rb_test_support)
target_include_directories(stores_address_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/text)
