// The version of the plug-in and of velhost. Whoever holds the library alone finds it with
// strings libtessary.so | grep 'Tessary version'

extern const char tessaryVersion[];
__attribute__((used, retain)) const char tessaryVersion[] = "Tessary version 1.0.0";
