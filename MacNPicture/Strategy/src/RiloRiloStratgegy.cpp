#include <RiloRiloStratgegy.h>

template class SameGenerationStratgegy<RiloGeneration>;
