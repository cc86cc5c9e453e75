/* C99 has no static assertion: an array of negative length does not compile. */
#define LAYOUT_FACT(name, condition) typedef char layout_of_##name[(condition) ? 1 : -1];
#include "record_layout.h"

/* What a C compiler makes of `scale`, which stands at an odd offset. */
double scaleAsCReadsIt(const BinningSetup* setup);

double scaleAsCReadsIt(const BinningSetup* setup)
{
    return setup->scale;
}
