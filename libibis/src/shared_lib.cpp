// libtarn.so is tarn_core linked in whole; CMake wants the shared target to own one source.
