#include "host/error.h"

headless::host_error::~host_error() = default;
