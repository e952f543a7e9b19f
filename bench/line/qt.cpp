// The peer Qt Serial Bus, all lines in one thread.

#include <QCoreApplication>
#include <QModbusDataUnit>
#include <QModbusReply>
#include <QModbusRtuSerialClient>
#include <QSerialPort>
#include <QVariant>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/line/uMaster.h"

namespace OrvixModBus {
namespace {

constexpr int kServer = 1;

class TPeer {
 public:
  TPeer(const TMasterOptions& options, std::size_t line, TMeasure& measure)
      : fOptions(options), fLine(line), fMeasure(measure) {
    fClient.setConnectionParameter(QModbusDevice::SerialPortNameParameter,
                                   QString::fromStdString(options.Ports[line]));
    fClient.setConnectionParameter(QModbusDevice::SerialParityParameter, QSerialPort::EvenParity);
    fClient.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, options.BaudRate);
    fClient.setConnectionParameter(QModbusDevice::SerialDataBitsParameter, QSerialPort::Data8);
    fClient.setConnectionParameter(QModbusDevice::SerialStopBitsParameter, QSerialPort::OneStop);
    if (options.Silence > 0) fClient.setInterFrameDelay(options.Silence);
    Require(fClient.connectDevice(), fClient.errorString());
  }

  void Ask() {
    QModbusReply* const reply = Send();
    Require(reply != nullptr, fClient.errorString());
    QObject::connect(reply, &QModbusReply::finished, reply, [this, reply] {
      if (fMeasure.Ended()) return;
      Require(reply->error() == QModbusDevice::NoError, reply->errorString());
      reply->deleteLater();
      if (fMeasure.Completed(fLine)) {
        Ask();
      } else {
        QCoreApplication::quit();
      }
    });
  }

 private:
  QModbusReply* Send() {
    const auto count = static_cast<quint16>(fOptions.Count);
    const auto registers = QModbusDataUnit::HoldingRegisters;
    switch (fOptions.Function) {
      case 1:
        return fClient.sendReadRequest({QModbusDataUnit::Coils, 0, count}, kServer);
      case 3:
        return fClient.sendReadRequest({registers, 0, count}, kServer);
      case 6:
        return fClient.sendWriteRequest({registers, 0, QList<quint16>{0x1234}}, kServer);
      default:
        return fClient.sendWriteRequest({registers, 0, QList<quint16>(count, 0x1234)}, kServer);
    }
  }

  static void Require(bool good, const QString& error) {
    if (good) return;
    std::fprintf(stderr, "qt: %s\n", qPrintable(error));
    std::exit(1);
  }

  const TMasterOptions& fOptions;
  const std::size_t fLine;
  TMeasure& fMeasure;
  QModbusRtuSerialClient fClient;
};

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  using namespace OrvixModBus;
  const TMasterOptions options = ReadOptions(argc, argv);
  QCoreApplication application(argc, argv);
  TMeasure measure(options);
  std::vector<std::unique_ptr<TPeer>> peers;
  for (std::size_t line = 0; line < options.Ports.size(); ++line) {
    peers.push_back(std::make_unique<TPeer>(options, line, measure));
    peers.back()->Ask();
  }
  QCoreApplication::exec();
}
