// A plug-in that cannot be loaded: nobody has this function.
extern "C" int missing_function();
int answer = missing_function();
