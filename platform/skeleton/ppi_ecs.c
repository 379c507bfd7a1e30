/* A television without the sensor. */
#include "ppi_ecs.h"

int ppi_ecs_get_colorsensor_info(ppi_ecs_colorsensor_info* info)
{
    return -1;
}
