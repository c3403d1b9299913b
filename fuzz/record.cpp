extern "C" int LLVMFuzzerTestOneInput(unsigned char const*, unsigned long) { return 0; }
