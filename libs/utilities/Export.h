#pragma once

/// Marks what libqen_file_io.so offers; everything else in it stays hidden.
#define QEN_FILE_IO_EXPORT __attribute__((visibility("default")))
/// Marks a private member of an exported class that no inline function of a header calls.
#define QEN_FILE_IO_HIDDEN __attribute__((visibility("hidden")))
