#include <orvo/core/Matrix4.h>

namespace orvo {

// Constant-initialised: both hold their values before any constructor of the
// program runs, so static initialisers elsewhere may read them.
constinit const Matrix4 Matrix4::ZERO(0, 0, 0, 0,
                                      0, 0, 0, 0,
                                      0, 0, 0, 0,
                                      0, 0, 0, 0);
constinit const Matrix4 Matrix4::IDENTITY(1, 0, 0, 0,
                                          0, 1, 0, 0,
                                          0, 0, 1, 0,
                                          0, 0, 0, 1);

}  // namespace orvo
