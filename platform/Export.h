#pragma once

/// Marks what libqen_platform.so offers; everything else in it stays hidden.
#define QEN_PLATFORM_EXPORT __attribute__((visibility("default")))
