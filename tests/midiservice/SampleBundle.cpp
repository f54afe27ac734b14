// The binary of a bundle that BundleTest loads.

extern "C" int SampleBundleAnswer()
{
    return 42;
}
