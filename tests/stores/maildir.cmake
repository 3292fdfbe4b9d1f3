add_library(rb_maildir_house STATIC maildir_house.cpp)
target_include_directories(rb_maildir_house PUBLIC ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(rb_maildir_house PUBLIC rb_store_maildir rb_platform_posix rb_test_support
                                              GTest::gtest)

rb_test(maildir_test
  SOURCES maildir_folder_test.cpp maildir_forward_test.cpp maildir_item_test.cpp
          maildir_loop_test.cpp maildir_name_test.cpp maildir_recipients_test.cpp
          maildir_settings_test.cpp maildir_store_test.cpp outbox_place_test.cpp
  LIBS rb_maildir_house)

# Nothing else may stand in this program: what it tries is the libraries' first use.
rb_test(first_use_test SOURCES first_use_test.cpp LIBS rb_maildir_house)
