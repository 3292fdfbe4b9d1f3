rb_fuzz(html_text SOURCES html_text_fuzzer.cpp LIBS rb_store_text)
rb_fuzz(words_and_addresses SOURCES words_and_addresses_fuzzer.cpp LIBS rb_store_address rb_prefs)
