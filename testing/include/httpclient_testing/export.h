#pragma once

/// Marks a class or function as part of the testing kit's binary interface; everything else is
/// hidden.
#define HTTPCLIENT_TESTING_EXPORT __attribute__((visibility("default")))
