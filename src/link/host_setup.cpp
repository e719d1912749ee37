#include "ozna_kelpo_port.h"

void SetComInfo(ComInfo *info) {
    const int max_count = info->max_count;
    info->state_b = 0;
    info->state_a = 0;
    PLC_driver.com_info = info;
    if (max_count > ozna_kelpo::most_units_per_request)
        info->max_count = ozna_kelpo::most_units_per_request;
}

void RegistCallBackFuncIntf(write_result_fn write_result, comm_error_fn comm_error) {
    PLC_driver.write_result_cb = write_result;
    PLC_driver.comm_error_cb = comm_error;
}

void FlashLocalRegister(void *local_bits, void *local_words, void *third_area) {
    LB = local_bits;
    LW = local_words;
    RWI = third_area;
}

int QueryFinishFlag() {
    return 1;
}

void EnableEthernet(int station, int mode) {
    const QMutexLocker locked(&PLC_driver.station_mutex);
    if (station < 0)
        PLC_driver.disabled_stations.clear();
    else if (mode == 0)
        PLC_driver.disabled_stations.insert(station, 0);
    else if (mode == 1)
        PLC_driver.disabled_stations.remove(station);
}

void EnCommStation(int station, int mode) {
    EnableEthernet(station, mode);
}

bool Ethernetcontains(int station) {
    const QMutexLocker locked(&PLC_driver.station_mutex);
    return PLC_driver.disabled_stations.contains(station);
}
