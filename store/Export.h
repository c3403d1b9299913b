#pragma once

/// Marks what libqen_store.so offers; everything else in it stays hidden.
#define QEN_STORE_EXPORT __attribute__((visibility("default")))
