rb_test(stores_outbox_test THREADS
  SOURCES
    outbox/command_runner_test.cpp
    outbox/delivery_worker_test.cpp
    outbox/hourly_limit_test.cpp
    outbox/journal_test.cpp
    outbox/outbox_crash_test.cpp
    outbox/outbox_fault_test.cpp
    outbox/outbox_test.cpp
    outbox/outgoing_message_test.cpp
    outbox/sendmail_transport_test.cpp
    outbox/stopped_address_test.cpp
    outbox/trace_mark_test.cpp
  LIBS rb_store_outbox rb_platform_posix rb_test_support)
