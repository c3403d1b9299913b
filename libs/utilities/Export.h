#pragma once

/// Marks what libqen_file_io.so offers; everything else in it stays hidden.
#define QEN_FILE_IO_EXPORT __attribute__((visibility("default")))
