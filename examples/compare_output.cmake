# Runs a program and compares what it prints with a file.
execute_process(COMMAND ${program} OUTPUT_VARIABLE printed RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${program} ended with ${status}")
endif()
file(READ ${expected} wanted)
if(NOT printed STREQUAL wanted)
  message(FATAL_ERROR "printed:\n${printed}\nexpected:\n${wanted}")
endif()
