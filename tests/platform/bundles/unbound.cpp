/* Needs what nobody has: lazily bound it would load, and fail on the first call. */
extern "C" int nobodyHasThis();

extern "C" __attribute__((visibility("default"))) int answer() {
    return nobodyHasThis();
}
