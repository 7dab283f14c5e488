// What the page calls.
#pragma once

#define TRAMO_CALLED(name) extern "C" __attribute__((export_name(#name)))
