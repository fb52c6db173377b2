// The version that this library was built as, for whoever holds the file alone:
// strings libtessary.so | grep 'Tessary version'

__attribute__((used, retain)) static const char tessaryVersion[] = "Tessary version " TESSARY_VERSION;
