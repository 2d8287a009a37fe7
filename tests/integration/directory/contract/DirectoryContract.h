#pragma once

#include "platform/Directory.h"

#include <QObject>

#include <functional>
#include <memory>

/// What every directory node answers about the objects of contract.ldif.
class DirectoryContract : public QObject
{
    Q_OBJECT
public:
    using MakeNode = std::function<std::shared_ptr<DirectoryNode>()>;
    explicit DirectoryContract(MakeNode makeNode);

private Q_SLOTS:
    void init();

    void everyConnectionPointOfTheServiceIsFound();
    void connectionPointsCarryTheirKeywordsAndNodeLocation();
    void aConnectionPointMayHaveNoDnsName();
    void numberedKeywordsAndTextAreReadWhole();
    void keywordsAreComparedAsAWhole();
    void onlyServiceConnectionPointsAreFound();
    void metacharactersInAKeywordStandForThemselves();

    void aUserIsFoundByName_data();
    void aUserIsFoundByName();
    void aUserCarriesHisIdentity();
    void unknownUsersGiveAnEmptyAnswer_data();
    void unknownUsersGiveAnEmptyAnswer();
    void aNumberOfResultsIsALimit();

private:
    MakeNode m_makeNode;
    std::shared_ptr<DirectoryNode> m_node;
};
