/* A program three libraries of which have functions of MD5's names, in either order. */
#include "md5_side.h"

int main(void) {
    return md5_of_qldapx() + md5_once_of_qldapx() + md5_of_libmd() + md5_of_libcrypto();
}
