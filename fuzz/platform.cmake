rb_fuzz(profile_file SOURCES profile_file_fuzzer.cpp LIBS rb_platform)
