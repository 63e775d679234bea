#pragma once

/// Marks a class or function as part of the testing kit's binary interface; everything else is
/// hidden.
#define HTTPCLIENT_TESTING_EXPORT __attribute__((visibility("default")))

/// Keeps a member of a class that is part of the binary interface out of it.
#define HTTPCLIENT_TESTING_HIDDEN __attribute__((visibility("hidden")))
