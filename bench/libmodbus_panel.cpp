// A panel that polls with libmodbus, one request for each variable; see panel_list.h.
//   kelpo-bench-libmodbus-panel LINE LIST PASSES
#include "bench/panel_list.h"

#include <modbus.h>

#include <cstdio>
#include <cstdlib>

namespace {

class Panel {
public:
    explicit Panel(const std::string &line) : context_(modbus_new_rtu(line.c_str(), 19200, 'N', 8, 1)) {
        if (context_ == nullptr || modbus_set_slave(context_, 1) != 0 || modbus_connect(context_) != 0)
            throw std::runtime_error(line + ": libmodbus cannot open the line");
    }
    ~Panel() {
        modbus_close(context_);
        modbus_free(context_);
    }
    Panel(const Panel &) = delete;
    Panel &operator=(const Panel &) = delete;

    void read(const bench::PanelVariable &variable, std::vector<int> &values) {
        for (int attempt = 0; attempt < 3; ++attempt) {
            if (was_read(variable, values))
                return;
            modbus_flush(context_);
        }
        throw std::runtime_error("a variable cannot be read");
    }

private:
    bool was_read(const bench::PanelVariable &variable, std::vector<int> &values) {
        if (variable.coils) {
            std::vector<std::uint8_t> bits(static_cast<std::size_t>(variable.units));
            if (modbus_read_bits(context_, variable.modbus_address, variable.units, bits.data()) != variable.units)
                return false;
            values.insert(values.end(), bits.begin(), bits.end());
            return true;
        }
        std::vector<std::uint16_t> words(static_cast<std::size_t>(variable.units));
        if (modbus_read_registers(context_, variable.modbus_address, variable.units, words.data()) != variable.units)
            return false;
        values.insert(values.end(), words.begin(), words.end());
        return true;
    }

    modbus_t *context_;
};

}  // namespace

int main(int argc, char **argv) {
    try {
        const bench::PanelTask task = bench::panel_task(argc, argv);
        Panel panel(task.line);
        bench::PanelStopwatch stopwatch;
        std::vector<int> values;
        for (int pass = 0; pass <= task.passes; ++pass) {
            values.clear();
            for (const bench::PanelVariable &variable : task.variables)
                panel.read(variable, values);
            if (pass == 0)
                stopwatch.start();
        }
        stopwatch.print(task.passes, values);
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
