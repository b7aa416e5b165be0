// incomplete_driver.cpp - a library with every name of the driver but ReCreatReadVarList.

// Names are all that the test asks for; nothing here is ever called or read.
#define NAME(name)                                                                                                     \
    extern "C" __attribute__((visibility("default"))) int name;                                                        \
    int name = 0

NAME(SetComInfo);
NAME(RegistCallBackFuncIntf);
NAME(FlashLocalRegister);
NAME(QueryFinishFlag);
NAME(PLCAddressChangeIntef);
NAME(EnCommStation);
NAME(ComCommunication);
NAME(DataCom);
NAME(AddListReadVar);
NAME(AddListWriteVar);
NAME(AddListOnceReadVar);
NAME(GetRegisterData);
NAME(SetRegisterData);
NAME(PLC_driver);
NAME(qmap_list);
NAME(qmap_length);
NAME(map_bit);
NAME(map_word);
NAME(LB);
NAME(LW);
NAME(RWI);
