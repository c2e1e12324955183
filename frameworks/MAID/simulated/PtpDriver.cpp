// The driver library that stands beside the bundles. Cameras of the lab need no driver; hosts want the file.

extern "C" __attribute__((visibility("default"))) int NkPTPDriverVersion() {
    constexpr int kVersion = 1;
    return kVersion;
}
