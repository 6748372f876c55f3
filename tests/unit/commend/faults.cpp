// The faults are those of the layer below.
#include "../netio/faults.cpp"
