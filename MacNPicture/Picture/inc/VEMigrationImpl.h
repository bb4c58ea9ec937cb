/** @file
 * The picture migrator of sets with N picture items.
 */
#pragma once

#include <PictureMigration.h>
#include <VEMigration.h>

#include <memory>
#include <string>

/** @tparam N  number of picture items: 44 (standard table) or 62 (extended table) */
template <int N>
class VEMigrationImpl : public VEMigration {
 public:
    VEMigrationImpl() noexcept;
    ~VEMigrationImpl() override;

    int Create() override;
    int Destroy() override;
    bool FlagCreate() override;
    int DumpNonVolatileData(std::string path) override;
    bool RestoreNonVolatileData(std::string path) override;
    bool RestoreNonVolatileDataUlvey(std::string path, unsigned int* uids) override;
    int DoVornBoxDataSync(VB_VornBoxInfo_k direction) override;
    int SetFactoryItem(const VB_FactoryItemNode_t* item, int value) override;
    int ConvertValueToStr(VB_FactoryItemNode_t* item, int value, char* out) override;
    int GetVBMigrationTestData(int code) override;
    int m_VerifyVornBoxDataSync() override;
    unsigned int* GetUIDArray() override;

    /** Appends the picture file's name, without a separator. @return true */
    bool MakeAndCheckCompletePath(std::string& path);

 private:
    void CreateArray();
    void CreateOLEDArray();
    int StoreServiceFile();
    int LoadServiceFile();
    int ReadServiceFile();

    bool mbFlagCreate = false;
    std::unique_ptr<PictureDataMigration> mPictureMigration;
    unsigned int mUidArray[N] = {};

    /** The item values last read back from the service file, in item-table order; shared by all migrators of N items and
     * kept from one to the next. */
    static int m_i32SpiData[N];
};

extern template class VEMigrationImpl<44>;
extern template class VEMigrationImpl<62>;
