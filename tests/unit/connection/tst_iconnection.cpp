// SPDX-License-Identifier: MIT
#include "connection/iconnection.h"
#include "connection/tcpconnection.h"
#include "connection/uartconnection.h"
#include "support/vtable.h"

#include <QtTest>

#include <vector>

class TestIConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void base_isIBaseAlone();
    void signals_keepTheirIndices_data();
    void signals_keepTheirIndices();
    void implementations_addNoMetaMethod();
    void virtualFunctions_followQObjectInDeclaredOrder();
};

void TestIConnection::base_isIBaseAlone()
{
    QCOMPARE(IConnection::staticMetaObject.superClass(), &IBase::staticMetaObject);
    QCOMPARE(IBase::staticMetaObject.superClass(), &QObject::staticMetaObject);
}

void TestIConnection::signals_keepTheirIndices_data()
{
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<int>("index");

    QTest::newRow("input") << QByteArray("dataReceived(QByteArray)") << 0;
    QTest::newRow("connected") << QByteArray("connected()") << 1;
    QTest::newRow("disconnected") << QByteArray("disconnected()") << 2;
}

void TestIConnection::signals_keepTheirIndices()
{
    QFETCH(QByteArray, signature);
    QFETCH(int, index);

    const QMetaObject &meta = IConnection::staticMetaObject;
    QCOMPARE(meta.methodOffset(), QObject::staticMetaObject.methodCount());
    const int absolute = meta.indexOfSignal(signature.constData());
    QCOMPARE(absolute, meta.methodOffset() + index);
    QCOMPARE(meta.method(absolute).methodType(), QMetaMethod::Signal);
    QCOMPARE(meta.methodCount(), meta.methodOffset() + 3);
}

void TestIConnection::implementations_addNoMetaMethod()
{
    for (const QMetaObject *meta : {&TcpConnection::staticMetaObject, &UartConnection::staticMetaObject}) {
        QCOMPARE(meta->superClass(), &IConnection::staticMetaObject);
        QCOMPARE(meta->methodCount(), IConnection::staticMetaObject.methodCount());
        QCOMPARE(meta->propertyCount(), QObject::staticMetaObject.propertyCount());
    }
}

void TestIConnection::virtualFunctions_followQObjectInDeclaredOrder()
{
    const std::vector<int> slotNumbers{
        virtualSlot(&IConnection::open),         virtualSlot(&IConnection::close),
        virtualSlot(&IConnection::reconnect),    virtualSlot(&IConnection::isOpened),
        virtualSlot(&IConnection::setParameter), virtualSlot(&IConnection::sendData),
        virtualSlot(&IConnection::type),         virtualSlot(&IConnection::readData)};
    int expected = lastSlotOfQObject();
    for (const int slotNumber : slotNumbers)
        QCOMPARE(slotNumber, ++expected);
}

QTEST_GUILESS_MAIN(TestIConnection)
#include "tst_iconnection.moc"
