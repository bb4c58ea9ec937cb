#include <MavoMavoStratgegy.h>

template class SameGenerationStratgegy<MavoGeneration>;
