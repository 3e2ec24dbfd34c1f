// Compiled, not run: it must compile, but with WRONG_PAIRS the compiler must complain
// about each line of them.

#include "host/api/operator.h"

void set_attributes(Object& object) {
    const TagList list({{0x88020000, FuID("Number")}, {0x38040000, "Red"}});
    object.SetAttrs(0x10040008, 1, 0x20030000, 1.0F, 0x30030003, "text", 0x60000005,
                    &object, 0x88020000, FuID("Number"), 0);
#if WRONG_PAIRS
#line 1 "wrong_pair"
    object.SetAttrs(0x10040008, "1", 0);                 // a text
    object.SetAttrs(0x20030000, 1, 0);                   // an integer
    object.SetAttrs(0x10040008, 1, 0x30030003, 1.0, 0);  // the second pair
    object.SetAttrs(0x10040008);                         // no value, no end
    const TagList texts({{0x88020000, "Number"}});       // a text
    object.SetAttrs(0x10040008, 1LL, 0);                 // cut off if large
#endif
}
