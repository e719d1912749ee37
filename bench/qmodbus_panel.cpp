// A panel that polls with Qt's QModbusClient, one request for each variable; see panel_list.h.
//   kelpo-bench-qmodbus-panel LINE LIST PASSES
#include "bench/panel_list.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QVariant>
#include <QtSerialBus/QModbusDataUnit>
#include <QtSerialBus/QModbusReply>
#include <QtSerialBus/QModbusRtuSerialMaster>

#include <cstdio>
#include <cstdlib>

namespace {

class Panel {
public:
    explicit Panel(bench::PanelTask task) : task_(std::move(task)) {
        client_.setConnectionParameter(QModbusDevice::SerialPortNameParameter, QString::fromStdString(task_.line));
        client_.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, 19200);
        client_.setConnectionParameter(QModbusDevice::SerialDataBitsParameter, 8);
        client_.setConnectionParameter(QModbusDevice::SerialParityParameter, 0);  // none
        client_.setConnectionParameter(QModbusDevice::SerialStopBitsParameter, 1);
        client_.setTimeout(500);
        client_.setNumberOfRetries(2);
        if (!client_.connectDevice())
            throw std::runtime_error(client_.errorString().toStdString());
    }

    void ask() {
        const bench::PanelVariable &variable = task_.variables[next_];
        const QModbusDataUnit unit(variable.coils ? QModbusDataUnit::Coils : QModbusDataUnit::HoldingRegisters,
                                   variable.modbus_address, static_cast<quint16>(variable.units));
        QModbusReply *const reply = client_.sendReadRequest(unit, 1);
        if (reply == nullptr)
            end(client_.errorString());
        else
            QObject::connect(reply, &QModbusReply::finished, [this, reply] {
                take(*reply);
                reply->deleteLater();
            });
    }

private:
    void take(const QModbusReply &reply) {
        if (reply.error() != QModbusDevice::NoError)
            return end(reply.errorString());
        for (const quint16 value : reply.result().values())
            values_.push_back(value);
        ++next_;
        if (next_ == task_.variables.size()) {
            if (pass_ == 0)
                stopwatch_.start();
            if (pass_ == task_.passes) {
                stopwatch_.print(task_.passes, values_);
                return QCoreApplication::exit(EXIT_SUCCESS);
            }
            values_.clear();
            next_ = 0;
            ++pass_;
        }
        ask();
    }

    void end(const QString &why) {
        std::fprintf(stderr, "%s\n", qPrintable(why));
        QCoreApplication::exit(EXIT_FAILURE);
    }

    bench::PanelTask task_;
    QModbusRtuSerialMaster client_;
    bench::PanelStopwatch stopwatch_;
    std::vector<int> values_;
    std::size_t next_ = 0;
    int pass_ = 0;
};

}  // namespace

int main(int argc, char **argv) {
    try {
        const QCoreApplication application(argc, argv);
        Panel panel(bench::panel_task(argc, argv));
        panel.ask();
        return QCoreApplication::exec();
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
}
